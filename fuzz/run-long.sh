#!/usr/bin/env bash
# Runs one fuzz target for a while, growing its corpus in a scratch folder:
#   fuzz/run-long.sh params 600
set -euo pipefail
cd "$(dirname "$0")/.."
name=$1 seconds=${2:-300}
target=build-test/bin/fuzz_$name
[ -x "$target" ] || { echo "build first: ./test.sh"; exit 1; }
work=$(mktemp -d)
cp fuzz/corpus/"$name"/* "$work"/
"$target" -max_total_time="$seconds" "$work"
echo "nuovo corpus in $work"
