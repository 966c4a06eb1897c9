package main

import (
	"bytes"
	"context"
	"encoding/json"
	"flag"
	"fmt"
	"os"
	"strconv"
	"time"

	"google.golang.org/grpc"

	"v2ray.com/core/app/stats/command"
)

// queryTimeout covers the connection and the query. It is longer than the
// service waits, so with a dead API port the caller times out first.
const queryTimeout = 3 * time.Second

// counter is one element of the printed list. Like the family's own JSON form,
// a counter of zero has no "value".
type counter struct {
	Name  string      `json:"name,omitempty"`
	Value interface{} `json:"value,omitempty"`
}

func statsQueryCommand(args []string, faults Faults) int {
	flags := flag.NewFlagSet("api statsquery", flag.ContinueOnError)
	server := "127.0.0.1:8080"
	flags.StringVar(&server, "server", server, "`address` of the API")
	flags.StringVar(&server, "s", server, "`address` of the API")
	pattern := flags.String("pattern", "", "`text` that a counter's name must contain")
	if flags.Parse(args) != nil {
		return exitUsage
	}
	if flags.NArg() != 0 {
		fmt.Fprint(os.Stderr, usage)
		return exitUsage
	}
	callMachine("xray-api", &faults)
	if faults.APIHang {
		sleepForever()
	}

	stats, err := queryStats(server, *pattern)
	if err != nil {
		fmt.Fprintln(os.Stderr, err)
		return exitFailed
	}
	text, err := formatCounters(stats, faults)
	if err != nil {
		fmt.Fprintln(os.Stderr, err)
		return exitFailed
	}
	if _, err := os.Stdout.Write(text); err != nil {
		return exitFailed
	}
	return exitOK
}

func queryStats(server, pattern string) ([]*command.Stat, error) {
	ctx, cancel := context.WithTimeout(context.Background(), queryTimeout)
	defer cancel()
	connection, err := grpc.DialContext(ctx, server, grpc.WithInsecure(), grpc.WithBlock())
	if err != nil {
		return nil, fmt.Errorf("failed to dial %s: %w", server, err)
	}
	defer connection.Close()

	request := &command.QueryStatsRequest{Pattern: pattern}
	response, err := command.NewStatsServiceClient(connection).QueryStats(ctx, request)
	if err != nil {
		return nil, fmt.Errorf("failed to query %s: %w", server, err)
	}
	return response.Stat, nil
}

func formatCounters(stats []*command.Stat, faults Faults) ([]byte, error) {
	var counters []counter
	for _, stat := range stats {
		counters = append(counters, counter{Name: stat.Name, Value: counterValue(stat.Value, faults)})
	}
	text, err := encodeCounters(counters)
	if err != nil || len(text) >= faults.APIPrintBytes {
		return text, err
	}
	// The padding comes before the real counters, so that a reader which stops
	// early misses them.
	padding, err := paddingCounters(faults.APIPrintBytes - len(text))
	if err != nil {
		return nil, err
	}
	return encodeCounters(append(padding, counters...))
}

// paddingCounters makes enough counters of inbounds to lengthen a list by size
// bytes, rounded up. They are zero: they add nothing to any sum.
func paddingCounters(size int) ([]counter, error) {
	var padding []counter
	add := func() {
		name := fmt.Sprintf("inbound>>>padding-%09d>>>traffic>>>uplink", len(padding))
		padding = append(padding, counter{Name: name})
	}
	add()
	one, err := encodeCounters(padding)
	if err != nil {
		return nil, err
	}
	add()
	two, err := encodeCounters(padding)
	if err != nil {
		return nil, err
	}
	each := len(two) - len(one)
	for len(padding)*each < size {
		add()
	}
	return padding, nil
}

func counterValue(value int64, faults Faults) interface{} {
	switch {
	case value == 0:
		return nil
	case faults.APIQuotedNumbers:
		return strconv.FormatInt(value, 10)
	default:
		return value
	}
}

// encodeCounters does not escape ">", as encoding/json would by default: the
// service looks for it in the names.
func encodeCounters(counters []counter) ([]byte, error) {
	var text bytes.Buffer
	encoder := json.NewEncoder(&text)
	encoder.SetEscapeHTML(false)
	encoder.SetIndent("", "    ")
	err := encoder.Encode(struct {
		Stat []counter `json:"stat,omitempty"`
	}{counters})
	return text.Bytes(), err
}
