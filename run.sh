#!/usr/bin/env bash
# Builds Sigillo (Release) into build/ and runs the demo batch in examples/,
# or the one macro file given as argument.
set -euo pipefail
cd "$(dirname "$0")"
top=$(pwd)
source scripts/deps.sh
ensure_packages "${BUILD_PACKAGES[@]}"

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DSIGILLO_TESTS=OFF >/dev/null
ninja -C build sigillo macro sigillo_cli sigillo-sfx >/dev/null

run_macro() {
  local file=$1 dir result
  dir=$(cd "$(dirname "$file")" && pwd)
  result=$(mktemp)
  echo "=== $(basename "$file"): $(head -n 1 "$file") $(sed -n 2p "$file")"
  (cd "$dir" && "$top/build/bin/macro" "$(basename "$file")" "$result")
  echo
  echo "=== codice di ritorno: $(cat "$result")"
  rm -f "$result"
}

if [ $# -gt 0 ]; then
  for f in "$@"; do run_macro "$f"; done
else
  # The demo runs on a copy, so that its outputs stay out of the checkout.
  demo=$(mktemp -d)
  trap 'rm -rf "$demo"' EXIT
  cp examples/* build/bin/sigillo-sfx "$demo"/
  for f in "$demo"/*.mac; do run_macro "$f"; done
  echo "=== file scritto da 02-md5-su-file.mac: $(cat "$demo/dati.md5")"
  echo "=== sigillo HASH sha256 -fin examples/dati.txt"
  build/bin/sigillo HASH sha256 -fin examples/dati.txt
  cmp -s "$demo/dati.txt" "$demo/estratto.txt" && echo "=== estratto.txt identico a dati.txt"
  echo "=== archivio.run -v (autoestraente scritto da 09-coda-selfexp.mac)"
  "$demo/archivio.run" -v
  openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=demo -days 1 \
    -keyout "$demo/demo.key" -out "$demo/demo.pem" 2>/dev/null
  echo "=== sigillo ASN1 parse -fin demo.pem"
  build/bin/sigillo ASN1 parse -fin "$demo/demo.pem"
fi
