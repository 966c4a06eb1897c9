package main

import (
	"bytes"
	"encoding/json"
	"errors"
	"fmt"
	"io/fs"
	"os"
	"path/filepath"
	"strings"
	"sync"
)

const faultsFileName = "engine_faults.json"

// Faults is the misbehaviour that a test asks for in engine_faults.json next to
// the executable. README.md describes the members.
type Faults struct {
	DieAfterMs       *int   `json:"dieAfterMs"`
	Hang             bool   `json:"hang"`
	TestHang         bool   `json:"testHang"`
	PrintBytes       int    `json:"printBytes"`
	APIPrintBytes    int    `json:"apiPrintBytes"`
	APIHang          bool   `json:"apiHang"`
	APIQuotedNumbers bool   `json:"apiQuotedNumbers"`
	LeaveLoopback    bool   `json:"leaveLoopback"`
	LogFile          string `json:"logFile"`
}

// loadFaults refuses a file that it does not fully understand: otherwise a test
// with a mistyped fault would pass without testing anything.
func loadFaults() (Faults, error) {
	var faults Faults
	executable, err := os.Executable()
	if err != nil {
		return faults, err
	}
	path := filepath.Join(filepath.Dir(executable), faultsFileName)
	text, err := os.ReadFile(path)
	if errors.Is(err, fs.ErrNotExist) {
		return faults, nil
	}
	if err != nil {
		return faults, err
	}
	decoder := json.NewDecoder(bytes.NewReader(text))
	decoder.DisallowUnknownFields()
	if err := decoder.Decode(&faults); err != nil {
		return faults, fmt.Errorf("%s: %w", path, err)
	}
	return faults, nil
}

// logTo makes the file the standard output, which the library logs to.
func logTo(path string) error {
	if path == "" {
		return nil
	}
	file, err := os.OpenFile(path, os.O_WRONLY|os.O_CREATE|os.O_APPEND, 0o600)
	if err == nil {
		os.Stdout = file
	}
	return err
}

// printNoise writes count bytes to each of the two streams and returns when
// both are written. It writes to both at the same time, so that a reader which
// empties only one pipe blocks the engine as it would block a real one.
func printNoise(count int) {
	if count <= 0 {
		return
	}
	var done sync.WaitGroup
	for _, stream := range []struct {
		file *os.File
		name string
	}{{os.Stdout, "stdout"}, {os.Stderr, "stderr"}} {
		stream := stream
		done.Add(1)
		go func() {
			defer done.Done()
			stream.file.WriteString(noise(stream.name, count))
		}()
	}
	done.Wait()
}

func noise(name string, count int) string {
	var text strings.Builder
	for line := 0; text.Len() < count; line++ {
		fmt.Fprintf(&text, "lab engine %s noise %09d\n", name, line)
	}
	return text.String()[:count]
}
