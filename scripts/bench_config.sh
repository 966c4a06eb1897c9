#!/usr/bin/env bash
# bench_config.sh [--smoke]: the cost of rewriting a configuration at a VPN start, compared with JSON libraries on the
# same texts, then the Windows program's times and peak memory under Wine, as markdown tables. Builds what it needs.
# --smoke runs the shortest texts once, natively, to see that the benchmark builds and works.
source "$(dirname "$0")/common.sh"

binaries=$BUILD/native-release
(cd "$ROOT" && cmake --preset native-release -B "$binaries") >/dev/null
cmake --build "$binaries" --target moorlak_config_bench >/dev/null
if [ "${1:-}" = --smoke ]; then
    "$binaries/tests/bench/moorlak_config_bench" --benchmark_filter=20KB --benchmark_min_time=0.001
    exit
fi

windows=$BUILD/windows-release
(cd "$ROOT" && cmake --preset windows-release -B "$windows") >/dev/null
cmake --build "$windows" --target moorlak_config_timing >/dev/null
report=$(mktemp)
prefix=$BUILD/prefixes/bench_config
trap 'end_prefix "$prefix"; rm -rf "$prefix" "$report"' EXIT

# The fastest of several runs counts: other load on the machine can only make a run slower.
"$binaries/tests/bench/moorlak_config_bench" --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true \
    --benchmark_min_time=0.2 --benchmark_out="$report" --benchmark_out_format=json >/dev/null 2>&1
jq -r '
    def round2: . * 100 | round / 100;
    def pad: if . >= 100 then round else round2 end;
    [.benchmarks[] | select(.run_type == "iteration")
        | {name: (.run_name | rtrimstr("/manual_time") | split("/") | .[:-1] | join("/")),
           size: (.run_name | rtrimstr("/manual_time") | split("/") | last), time: .real_time}]
    | group_by([.name, .size]) | map({key: "\(.[0].name)/\(.[0].size)", value: (map(.time) | min)})
    | from_entries as $time
    | ["20KB", "1MiB", "8MiB", "16MiB"] as $sizes
    | ["pipeline", "pipeline, metadata last", "RapidJSON parse+write", "nlohmann::json parse+dump", "simdjson parse",
       "memcpy"] as $rows
    | "| us | \($sizes | join(" | ")) |", "|---|---|---|---|---|",
      ($rows[] as $row | "| \($row) | \([$sizes[] | $time["\($row)/\(.)"] | pad | tostring] | join(" | ")) |"),
      (["pipeline", "pipeline, metadata last"][] as $ours | ["RapidJSON parse+write", "nlohmann::json parse+dump", "simdjson parse"][] as $theirs
        | "| \($theirs) / \($ours) | \([$sizes[] | ($time["\($theirs)/\(.)"] / $time["\($ours)/\(.)"] | round2 | tostring)] | join(" | ")) |"),
      "", "16MiB / 8MiB: \($time["pipeline/16MiB"] / $time["pipeline/8MiB"] | round2)", "",
      "| hostile text of 16 MiB | ms |", "|---|---|",
      ($time | to_entries[] | select(.key | startswith("hostile: "))
        | "| \(.key | ltrimstr("hostile: ") | rtrimstr("/16MiB")) | \(.value / 1000 | round2) |")' "$report"

say ""
say "The Windows program under Wine:"
say ""
clone_prefix "$prefix"
WINEPREFIX=$prefix "$WINE" "$windows/tests/bench/moorlak_config_timing.exe"
