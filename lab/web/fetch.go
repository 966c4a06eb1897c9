package main

import (
	"encoding/json"
	"flag"
	"fmt"
	"io"
	"net/http"
	"net/url"
	"os"
	"time"
)

// result is the line that fetch prints. bytes and sha256 describe the body of
// the response; the sent members are present only after a POST.
type result struct {
	Status     int    `json:"status"`
	Bytes      int64  `json:"bytes"`
	Sha256     string `json:"sha256"`
	SentBytes  *int64 `json:"sentBytes,omitempty"`
	SentSha256 string `json:"sentSha256,omitempty"`
}

func fetchCommand(args []string) error {
	flags := flag.NewFlagSet("fetch", flag.ExitOnError)
	socks := flags.String("socks", "", "`address` of a SOCKS5 proxy, which also resolves host names")
	output := flags.String("o", "", "`file` that receives the body")
	post := flags.Int64("post", -1, "POST this `number` of test bytes")
	timeout := flags.Duration("timeout", 60*time.Second, "time for the whole transfer")
	flags.Parse(args)
	if flags.NArg() != 1 {
		return fmt.Errorf("exactly one URL is needed\n%s", usage)
	}

	request, err := newRequest(flags.Arg(0), *post)
	if err != nil {
		return err
	}
	response, err := newClient(*socks, *timeout).Do(request)
	if err != nil {
		return err
	}
	defer response.Body.Close()

	found, err := receive(response, *output)
	if err != nil {
		return err
	}
	if *post >= 0 {
		found.SentBytes = post
		if _, found.SentSha256, err = digest(testData(*post)); err != nil {
			return err
		}
	}
	if err := json.NewEncoder(os.Stdout).Encode(found); err != nil {
		return err
	}
	return judge(response, found)
}

func newRequest(target string, post int64) (*http.Request, error) {
	if post < 0 {
		return http.NewRequest(http.MethodGet, target, nil)
	}
	request, err := http.NewRequest(http.MethodPost, target, io.NopCloser(testData(post)))
	if err != nil {
		return nil, err
	}
	request.ContentLength = post
	request.Header.Set("Content-Type", "application/octet-stream")
	return request, nil
}

// newClient takes no proxy from the environment: only the test decides which
// way its bytes go.
func newClient(socks string, timeout time.Duration) *http.Client {
	transport := &http.Transport{DisableCompression: true}
	if socks != "" {
		transport.Proxy = http.ProxyURL(&url.URL{Scheme: "socks5", Host: socks})
	}
	return &http.Client{Transport: transport, Timeout: timeout}
}

func receive(response *http.Response, path string) (result, error) {
	found := result{Status: response.StatusCode}
	var body io.Reader = response.Body
	var file *os.File
	var err error
	if path != "" {
		if file, err = os.Create(path); err != nil {
			return found, err
		}
		defer file.Close()
		body = io.TeeReader(body, file)
	}
	if found.Bytes, found.Sha256, err = digest(body); err != nil {
		return found, err
	}
	if file != nil {
		err = file.Close()
	}
	return found, err
}

func judge(response *http.Response, found result) error {
	if found.Status >= 400 {
		return fmt.Errorf("the server answered %s", response.Status)
	}
	if announced := response.Header.Get("X-Sha256"); announced != "" && announced != found.Sha256 {
		return fmt.Errorf("the body has SHA-256 %s, the server announced %s", found.Sha256, announced)
	}
	return nil
}
