// Command web is the other end of the machine tests' traffic: a small web
// server with predictable contents, and a client that can fetch through a
// SOCKS5 proxy and reports what it received.
package main

import (
	"fmt"
	"net"
	"os"
)

const usage = `usage:
  web serve [-addr HOST:PORT] [-portfile FILE]
  web fetch [-socks HOST:PORT] [-o FILE] [-post BYTES] [-timeout DURATION] URL
  web freeport
`

func main() {
	if len(os.Args) < 2 {
		fmt.Fprint(os.Stderr, usage)
		os.Exit(2)
	}
	var err error
	switch os.Args[1] {
	case "serve":
		err = serveCommand(os.Args[2:])
	case "fetch":
		err = fetchCommand(os.Args[2:])
	case "freeport":
		err = printFreePort()
	default:
		err = fmt.Errorf("unknown command %q\n%s", os.Args[1], usage)
	}
	if err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}

// printFreePort prints a loopback port that was free a moment ago.
func printFreePort() error {
	listener, err := net.Listen("tcp4", "127.0.0.1:0")
	if err != nil {
		return err
	}
	defer listener.Close()
	fmt.Println(listener.Addr().(*net.TCPAddr).Port)
	return nil
}
