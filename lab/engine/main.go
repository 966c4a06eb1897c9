// Command engine is the proxy engine of the machine tests. It is a small main
// program over the V2Ray library. It takes the production engine's command
// lines as far as the service uses them, so that tests carry real traffic and
// read real counters. README.md says what differs.
package main

import (
	"fmt"
	"os"
	"strings"

	"v2ray.com/core"
	_ "v2ray.com/core/main/distro/all"
)

// Exit codes. 23 is the one that this family of engines uses for a
// configuration that cannot be loaded.
const (
	exitOK        = 0
	exitFailed    = 1
	exitUsage     = 2
	exitBadConfig = 23
)

const usage = `usage:
  xray [run] [-test] -config FILE
  xray api statsquery (-server|-s) HOST:PORT [-pattern TEXT]
  xray version
`

func main() {
	faults, err := loadFaults()
	if err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(exitUsage)
	}
	os.Exit(dispatch(os.Args[1:], faults))
}

func dispatch(args []string, faults Faults) int {
	switch {
	case len(args) >= 1 && args[0] == "run":
		return runCommand(args[1:], faults)
	case len(args) >= 1 && strings.HasPrefix(args[0], "-"):
		return runCommand(args, faults)
	case len(args) >= 2 && args[0] == "api" && args[1] == "statsquery":
		return statsQueryCommand(args[2:], faults)
	case len(args) == 1 && args[0] == "version":
		printVersion()
		return exitOK
	}
	fmt.Fprint(os.Stderr, usage)
	return exitUsage
}

func printVersion() {
	for _, line := range core.VersionStatement() {
		fmt.Println(line)
	}
}
