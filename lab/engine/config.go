package main

import (
	"bytes"
	"encoding/json"
	"fmt"
	"net"
	"os"
	"strconv"
	"strings"

	"v2ray.com/core"
	"v2ray.com/core/infra/conf"
	conf_json "v2ray.com/core/infra/conf/json"
	"v2ray.com/core/infra/conf/serial"
)

// apiInboundTag must differ from any tag of a real configuration. In
// particular it is not "api", which the service uses for its own API inbound.
const apiInboundTag = "lab-api-listen"

// loadConfig reads a configuration of the production engine and translates the
// few things that V2Ray does not know. The translation works on the decoded
// configuration rather than on the text, so that syntax errors, comments and
// repeated sections get exactly the library's treatment.
// The returned tunnel describes the TUN inbound; nil if there is none.
func loadConfig(path string) (*core.Config, *tunnel, error) {
	text, err := os.ReadFile(path)
	if err != nil {
		return nil, nil, err
	}
	config, err := serial.DecodeJSONConfig(bytes.NewReader(text))
	if err != nil {
		return nil, nil, err
	}

	tunnel, err := tunnelOf(config)
	if err != nil {
		return nil, nil, err
	}
	dropTunInbounds(config)
	dropProcessRules(config)
	if err := listenForAPI(config, text); err != nil {
		return nil, nil, err
	}
	built, err := config.Build()
	return built, tunnel, err
}

func dropTunInbounds(config *conf.Config) {
	var kept []conf.InboundDetourConfig
	for _, inbound := range config.InboundConfigs {
		if strings.EqualFold(inbound.Protocol, "tun") {
			report("took out the TUN inbound %q", inbound.Tag)
			continue
		}
		kept = append(kept, inbound)
	}
	config.InboundConfigs = kept
}

func dropProcessRules(config *conf.Config) {
	if config.RouterConfig == nil {
		return
	}
	var kept []json.RawMessage
	dropped := 0
	for _, rule := range config.RouterConfig.RuleList {
		process, others := ruleMatchers(rule)
		if process && others == 0 {
			dropped++
			continue
		}
		if process {
			report("ignored the process matcher of a routing rule that has other matchers too")
		}
		kept = append(kept, rule)
	}
	if dropped > 0 {
		report("took out %d routing rules that match processes only", dropped)
	}
	config.RouterConfig.RuleList = kept
}

// ruleMatchers returns whether a routing rule matches processes and how many
// other matchers it has. A rule that is not an object is left to the library
// to reject.
func ruleMatchers(rule json.RawMessage) (process bool, others int) {
	var members map[string]json.RawMessage
	if json.Unmarshal(rule, &members) != nil {
		return false, 0
	}
	for name := range members {
		switch name {
		case "process":
			process = true
		case "type", "outboundTag", "balancerTag", "ruleTag", "domainMatcher":
		default:
			others++
		}
	}
	return process, others
}

// listenForAPI gives the api section's "listen" its meaning. V2Ray reaches its
// API only through an inbound and a routing rule, so without these two the
// counters could not be read.
func listenForAPI(config *conf.Config, text []byte) error {
	var extended struct {
		API struct {
			Listen string `json:"listen"`
		} `json:"api"`
	}
	reader := &conf_json.Reader{Reader: bytes.NewReader(text)}
	if err := json.NewDecoder(reader).Decode(&extended); err != nil {
		return fmt.Errorf("api section: %w", err)
	}
	if extended.API.Listen == "" {
		return nil
	}

	inbound, err := apiInbound(extended.API.Listen)
	if err != nil {
		return fmt.Errorf("api section: listen: %w", err)
	}
	rule, err := json.Marshal(map[string]interface{}{
		"type":        "field",
		"inboundTag":  []string{apiInboundTag},
		"outboundTag": config.API.Tag,
	})
	if err != nil {
		return err
	}

	config.InboundConfigs = append(config.InboundConfigs, inbound)
	if config.RouterConfig == nil {
		config.RouterConfig = &conf.RouterConfig{}
	}
	// The rule comes first, or a rule that matches everything would take the
	// queries.
	config.RouterConfig.RuleList = append([]json.RawMessage{rule}, config.RouterConfig.RuleList...)
	report("turned the api section's listen into an inbound on %s", extended.API.Listen)
	return nil
}

func apiInbound(listen string) (inbound conf.InboundDetourConfig, err error) {
	host, portText, err := net.SplitHostPort(listen)
	if err != nil {
		return inbound, err
	}
	port, err := strconv.ParseUint(portText, 10, 16)
	if err != nil {
		return inbound, err
	}
	text, err := json.Marshal(map[string]interface{}{
		"tag":      apiInboundTag,
		"listen":   host,
		"port":     port,
		"protocol": "dokodemo-door",
		"settings": map[string]string{"address": "127.0.0.1"},
	})
	if err != nil {
		return inbound, err
	}
	return inbound, json.Unmarshal(text, &inbound)
}

// report prints to standard output, where the service's pump shows it, that the
// engine departed from the configuration as written.
func report(format string, values ...interface{}) {
	fmt.Printf("lab engine: "+format+"\n", values...)
}
