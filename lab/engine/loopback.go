package main

import (
	"context"
	"errors"
	"fmt"
	stdnet "net"
	"strings"
	"sync"

	"v2ray.com/core/common/net"
	"v2ray.com/core/transport/internet"
)

// loopbackDialer keeps test traffic on this machine: a test that forgets to
// redirect a host name or a DNS server gets an error instead of reaching out.
type loopbackDialer struct {
	system internet.SystemDialer
}

func (d loopbackDialer) Dial(ctx context.Context, source net.Address, destination net.Destination,
	sockopt *internet.SocketConfig) (net.Conn, error) {
	if isLocalhost(destination.Address) {
		// Not through the resolver, which refuseSystemResolver disables.
		destination.Address = net.LocalHostIP
	}
	if !isLoopback(destination.Address) {
		report("refused to leave the loopback interface for %s", destination)
		return nil, fmt.Errorf("%s is not a loopback address", destination)
	}
	return d.system.Dial(ctx, source, destination, sockopt)
}

func isLocalhost(address net.Address) bool {
	return address.Family().IsDomain() && strings.EqualFold(address.Domain(), "localhost")
}

func isLoopback(address net.Address) bool {
	return address.Family().IsIP() && address.IP().IsLoopback()
}

// refuseSystemResolver covers what bypasses the dialer: without a dns section
// V2Ray resolves names through the operating system. It reports only once,
// because the resolver tries every server and search domain several times.
func refuseSystemResolver() {
	var once sync.Once
	stdnet.DefaultResolver = &stdnet.Resolver{
		PreferGo: true,
		Dial: func(ctx context.Context, network, address string) (stdnet.Conn, error) {
			once.Do(func() { report("refused to ask the system's DNS servers") })
			return nil, errors.New("the system's DNS servers are not asked in tests")
		},
	}
}
