package main

import (
	"encoding/json"
	"flag"
	"fmt"
	"io"
	"net"
	"net/http"
	"os"
	"strconv"
	"strings"
)

const homePage = `<!DOCTYPE html>
<html><head><title>Lab web server</title></head>
<body><p>This page comes from the lab's web server.</p></body></html>
`

func serveCommand(args []string) error {
	flags := flag.NewFlagSet("serve", flag.ExitOnError)
	address := flags.String("addr", "127.0.0.1:0", "`address` to listen on; port 0 takes a free one")
	portFile := flags.String("portfile", "", "`file` that receives the port")
	flags.Parse(args)
	if flags.NArg() != 0 {
		return fmt.Errorf("unexpected argument %q", flags.Arg(0))
	}

	listener, err := net.Listen("tcp", *address)
	if err != nil {
		return err
	}
	fmt.Println(listener.Addr())
	if *portFile != "" {
		port := listener.Addr().(*net.TCPAddr).Port
		if err := writeWhole(*portFile, strconv.Itoa(port)+"\n"); err != nil {
			return err
		}
	}
	return http.Serve(listener, routes())
}

// writeWhole makes the file appear complete: tests wait for it to appear and
// read it at once.
func writeWhole(path, text string) error {
	temporary := path + ".new"
	if err := os.WriteFile(temporary, []byte(text), 0o644); err != nil {
		return err
	}
	return os.Rename(temporary, path)
}

func routes() http.Handler {
	mux := http.NewServeMux()
	mux.HandleFunc("/", home)
	mux.HandleFunc("/bytes/", sendBytes)
	mux.HandleFunc("/generate_204", func(w http.ResponseWriter, _ *http.Request) {
		w.WriteHeader(http.StatusNoContent)
	})
	mux.HandleFunc("/sink", sink)
	return mux
}

func home(w http.ResponseWriter, r *http.Request) {
	if r.URL.Path != "/" {
		http.NotFound(w, r)
		return
	}
	w.Header().Set("Content-Type", "text/html; charset=utf-8")
	io.WriteString(w, homePage)
}

func sendBytes(w http.ResponseWriter, r *http.Request) {
	size, err := strconv.ParseInt(strings.TrimPrefix(r.URL.Path, "/bytes/"), 10, 64)
	if err != nil || size < 0 {
		http.Error(w, "not a number of bytes", http.StatusBadRequest)
		return
	}
	// The sum is sent before the body so that the receiver can detect a broken
	// transfer; the price is making the bytes twice.
	_, sum, err := digest(testData(size))
	if err != nil {
		http.Error(w, err.Error(), http.StatusInternalServerError)
		return
	}
	w.Header().Set("Content-Type", "application/octet-stream")
	w.Header().Set("Content-Length", strconv.FormatInt(size, 10))
	w.Header().Set("X-Sha256", sum)
	io.Copy(w, testData(size))
}

func sink(w http.ResponseWriter, r *http.Request) {
	if r.Method != http.MethodPost {
		w.Header().Set("Allow", http.MethodPost)
		http.Error(w, "POST only", http.StatusMethodNotAllowed)
		return
	}
	size, sum, err := digest(r.Body)
	if err != nil {
		http.Error(w, err.Error(), http.StatusBadRequest)
		return
	}
	w.Header().Set("Content-Type", "application/json")
	json.NewEncoder(w).Encode(map[string]interface{}{"bytes": size, "sha256": sum})
}
