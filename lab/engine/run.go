package main

import (
	"flag"
	"fmt"
	"os"
	"os/signal"
	"runtime"
	"syscall"
	"time"

	"v2ray.com/core"
	"v2ray.com/core/transport/internet"
)

func runCommand(args []string, faults Faults) int {
	flags := flag.NewFlagSet("run", flag.ContinueOnError)
	var path string
	flags.StringVar(&path, "config", "", "configuration `file`")
	flags.StringVar(&path, "c", "", "configuration `file`")
	test := flags.Bool("test", false, "load and check the configuration, then end")
	if flags.Parse(args) != nil {
		return exitUsage
	}
	if path == "" || flags.NArg() != 0 {
		fmt.Fprint(os.Stderr, usage)
		return exitUsage
	}

	if *test {
		callMachine("xray-test", &faults)
	} else {
		callMachine("xray", &faults)
	}
	printVersion()
	useProductionAssetFolder()
	if *test {
		return testConfig(path, faults)
	}
	return serve(path, faults)
}

// useProductionAssetFolder passes on the folder of geoip.dat and geosite.dat
// under the name that the library looks for. Without that name the library
// looks next to the executable, as the production engine does.
func useProductionAssetFolder() {
	if folder, found := os.LookupEnv("XRAY_LOCATION_ASSET"); found {
		os.Setenv("V2RAY_LOCATION_ASSET", folder)
	}
}

func testConfig(path string, faults Faults) int {
	if faults.TestHang {
		sleepForever()
	}
	if _, _, err := newServer(path); err != nil {
		fmt.Println("Failed to start:", err)
		return exitBadConfig
	}
	fmt.Println("Configuration OK.")
	return exitOK
}

func serve(path string, faults Faults) int {
	if faults.DieAfterMs != nil {
		time.AfterFunc(time.Duration(*faults.DieAfterMs)*time.Millisecond, func() {
			os.Exit(exitFailed)
		})
	}
	printNoise(faults.PrintBytes)
	if faults.Hang {
		sleepForever()
	}

	if !faults.LeaveLoopback {
		stayOnLoopback()
	}
	if err := logTo(faults.LogFile); err != nil {
		fmt.Fprintln(os.Stderr, err)
		return exitFailed
	}
	server, tunnel, err := newServer(path)
	if err != nil {
		fmt.Println("Failed to start:", err)
		return exitBadConfig
	}
	if err := server.Start(); err != nil {
		fmt.Println("Failed to start:", err)
		return exitFailed
	}
	defer server.Close()
	if tunnel != nil {
		go tunnel.raise()
	}

	// The parsed geoip and geosite lists are garbage by now and can be large.
	runtime.GC()

	signals := make(chan os.Signal, 1)
	signal.Notify(signals, os.Interrupt, syscall.SIGTERM)
	<-signals
	return exitOK
}

func newServer(path string) (core.Server, *tunnel, error) {
	config, tunnel, err := loadConfig(path)
	if err != nil {
		return nil, nil, err
	}
	server, err := core.New(config)
	return server, tunnel, err
}

func stayOnLoopback() {
	internet.UseAlternativeSystemDialer(loopbackDialer{system: &internet.DefaultSystemDialer{}})
	refuseSystemResolver()
}

// sleepForever blocks with a timer: an empty select would let the Go run time
// see a deadlock and end the process.
func sleepForever() {
	for {
		time.Sleep(time.Hour)
	}
}
