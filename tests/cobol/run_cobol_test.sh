#!/usr/bin/env bash
# Compiles the COBOL batch program against libsigillo.so, runs it and checks
# what it printed and wrote.
set -euo pipefail
src=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cobc -x -fstatic-call -I "$src/cobol" -o hashtest "$src/tests/cobol/hashtest.cbl" \
  -L "$build/lib" -lsigillo -Q -Wl,--allow-shlib-undefined
printf 'abc' > input.txt
LD_LIBRARY_PATH="$build/lib" ./hashtest > console.txt
fail=0
expect() {
  if ! grep -qxF -- "$1" console.txt; then
    echo "manca la riga: $1"; fail=1
  fi
}
expect 'KVTVERS RC=00000 TESTO=Versione 7.16.27 - rilascio 18/01/2012'
expect 'KVTCHKV DIFF=+0000000000'
expect 'HASH MD5 RC=00000'
expect 'HASH SENZA MD1 RC=00214'
expect 'SHA256 RC=00000'
expect 'SHA256 PRIMI 4 BYTE=BA7816BF'
expect 'CODA CMP RC=00000'
expect 'CODA DCP RC=00000'
expect 'CODA DCP DI NUOVO RC=00156'
if [ "$(cat back.txt)" != "abc" ]; then
  echo "back.txt: $(cat back.txt)"; fail=1
fi
if [ "$(cat out.txt)" != "900150983CD24FB0D6963F7D28E17F72" ]; then
  echo "out.txt: $(cat out.txt)"; fail=1
fi
[ $fail -eq 0 ] || { cat console.txt; exit 1; }
echo "1 passed, 0 failed"
