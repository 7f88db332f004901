#!/usr/bin/env bash
# run.sh FUZZER SEED_MAKER DIR SECONDS [LIBFUZZER OPTIONS...]
# Writes the seed corpus to DIR/seeds and fuzzes for SECONDS, keeping what
# it finds in DIR/corpus and any crashing input as DIR/crash-*.
set -euo pipefail
fuzzer=$1 seed_maker=$2 dir=$3 seconds=$4
shift 4
rm -rf "$dir/seeds"
"$seed_maker" "$dir/seeds"
mkdir -p "$dir/corpus"
# Standard output is the console the records are printed on: closed, so
# that printing costs nothing; reports go to standard error.
exec "$fuzzer" -max_total_time="$seconds" -close_fd_mask=1 -print_final_stats=1 -timeout=10 \
    -rss_limit_mb=2048 -use_value_profile=1 -dict="$(dirname "$0")/record.dict" -artifact_prefix="$dir/" \
    "$@" "$dir/corpus" "$dir/seeds"
