#!/usr/bin/env bash
# Builds Sigillo (Release) into build/ and runs the demo batch in examples/,
# or the one macro file given as argument.
set -euo pipefail
cd "$(dirname "$0")"
source scripts/deps.sh
ensure_packages "${BUILD_PACKAGES[@]}"

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DSIGILLO_TESTS=OFF >/dev/null
ninja -C build sigillo macro sigillo_cli >/dev/null

run_macro() {
  local file=$1 dir result
  dir=$(cd "$(dirname "$file")" && pwd)
  result=$(mktemp)
  echo "=== $(basename "$file"): $(head -n 1 "$file") $(sed -n 2p "$file")"
  (cd "$dir" && "$OLDPWD/build/bin/macro" "$(basename "$file")" "$result")
  echo
  echo "=== codice di ritorno: $(cat "$result")"
  rm -f "$result"
}

if [ $# -gt 0 ]; then
  for f in "$@"; do run_macro "$f"; done
else
  for f in examples/*.mac; do run_macro "$f"; done
  echo "=== sigillo HASH sha256 -fin examples/dati.txt"
  build/bin/sigillo HASH sha256 -fin examples/dati.txt
fi
