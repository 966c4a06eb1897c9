package main

import (
	"encoding/json"
	"errors"
	"fmt"
	"os"
	"os/exec"
	"path/filepath"
	"strconv"
	"strings"

	"v2ray.com/core/infra/conf"
)

// machineLink is the program through which the engine takes part in the
// simulated machine (lab/programs/machine_link). If it is not in the engine's
// folder, there is no machine.
const machineLink = "machine_link.exe"

func runLink(args ...string) ([]byte, error) {
	executable, err := os.Executable()
	if err != nil {
		return nil, err
	}
	path := filepath.Join(filepath.Dir(executable), machineLink)
	if _, err := os.Stat(path); err != nil {
		return nil, nil
	}
	command := exec.Command(path, args...)
	command.Stderr = os.Stderr
	return command.Output()
}

// callMachine makes this run of the engine a call on the machine, so that tests
// can count it and plan faults for it. It records the faults that the engine
// carries out itself, and ends the program if the call fails.
func callMachine(name string, faults *Faults) {
	output, err := runLink("call", name, strings.Join(os.Args[1:], " "))
	for _, line := range strings.Split(string(output), "\n") {
		var kind string
		var code int
		if count, _ := fmt.Sscanf(line, "%s %d", &kind, &code); count != 2 {
			continue
		}
		switch kind {
		case "die":
			faults.DieAfterMs = &code
		case "print":
			faults.PrintBytes = code
		}
	}
	if err != nil {
		os.Exit(exitCodeOf(err))
	}
}

func exitCodeOf(err error) int {
	var ended *exec.ExitError
	if errors.As(err, &ended) {
		return ended.ExitCode()
	}
	fmt.Fprintln(os.Stderr, err)
	return exitUsage
}

// tunnel is what a TUN inbound asks of the machine.
type tunnel struct {
	Name    string   `json:"name"`
	Gateway []string `json:"gateway"`
	Routes  []string `json:"autoSystemRoutingTable"`
	// The SOCKS inbound that takes the traffic instead of packets.
	port uint32
}

// tunnelOf reads the first TUN inbound; nil if the configuration has none.
func tunnelOf(config *conf.Config) (*tunnel, error) {
	var wanted *tunnel
	port := uint32(0)
	for _, inbound := range config.InboundConfigs {
		switch {
		case strings.EqualFold(inbound.Protocol, "tun") && wanted == nil:
			wanted = &tunnel{}
			if inbound.Settings == nil {
				return nil, errors.New("the TUN inbound has no settings")
			}
			if err := json.Unmarshal(*inbound.Settings, wanted); err != nil {
				return nil, err
			}
		case strings.EqualFold(inbound.Protocol, "socks") && port == 0 && inbound.PortRange != nil:
			port = inbound.PortRange.From
		}
	}
	if wanted == nil {
		return nil, nil
	}
	if wanted.Name == "" || len(wanted.Gateway) == 0 {
		return nil, errors.New("the TUN inbound names no adapter or no gateway")
	}
	wanted.port = port
	return wanted, nil
}

// raise makes the adapter appear. If that fails, for example by a planned
// fault, the engine goes on without the adapter.
func (t *tunnel) raise() {
	args := []string{"tunnel", strconv.Itoa(os.Getpid()), strconv.Itoa(int(t.port)), t.Name, t.Gateway[0]}
	if _, err := runLink(append(args, t.Routes...)...); err != nil {
		report("the adapter %q did not appear: %v", t.Name, err)
	}
}
