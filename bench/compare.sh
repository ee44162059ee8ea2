#!/usr/bin/env bash
# Side-by-side throughput of Sigillo and its peers on the same input, in one
# run.  Prints, per case, our time, the peer's time, the throughput ratio
# (peer time / our time; 1.00 = as fast) and our peak memory.
#   bench/compare.sh [size-in-MiB]   (default 1024)
set -euo pipefail
export LC_ALL=C  # a dot in $EPOCHREALTIME and in the printed figures
cd "$(dirname "$0")/.."
source scripts/deps.sh
ensure_packages "${BUILD_PACKAGES[@]}" time
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DSIGILLO_TESTS=OFF >/dev/null
ninja -C build macro >/dev/null
[ -x build/bin/macro ] || { echo "build/bin/macro mancante"; exit 1; }

size_mib=${1:-1024}
work=$(mktemp -d "${TMPDIR:-/tmp}/sigillo-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
input=$work/input.bin
head -c $((size_mib * 1024 * 1024)) /dev/urandom > "$input"
macro=$(pwd)/build/bin/macro

# Runs a command, prints "seconds peak-KiB"; the clock is read here because
# time(1) rounds to hundredths, too coarse for the sub-second cases.
measure() {
  local start=$EPOCHREALTIME
  /usr/bin/time -f "%M" -o "$work/time.txt" "$@" >/dev/null 2>&1
  awk -v a="$start" -v b="$EPOCHREALTIME" -v m="$(cat "$work/time.txt")" 'BEGIN{printf "%.4f %s\n", b-a, m}'
}

best_of() {  # best of $runs runs (default 3): "seconds peak-KiB"
  local best="" line
  for _ in $(seq "${runs:-3}"); do
    line=$(measure "$@")
    if [ -z "$best" ] || awk -v a="${line% *}" -v b="${best% *}" 'BEGIN{exit !(a<b)}'; then best=$line; fi
  done
  echo "$best"
}

printf '%-22s %10s %10s %8s %12s\n' "caso ($size_mib MiB)" "sigillo s" "peer s" "ratio" "picco MiB"
hash_case() {
  local sub=$1 dgst=$2
  printf 'HASH\n%s -fin "%s"\n' "$sub" "$input" > "$work/job.mac"
  read -r ours peak < <(best_of "$macro" "$work/job.mac" "$work/result.txt")
  read -r theirs _ < <(best_of openssl dgst "-$dgst" "$input")
  [ "$(cat "$work/result.txt")" = "0" ] || { echo "HASH $sub fallita"; exit 1; }
  awk -v n="HASH $sub" -v a="$ours" -v b="$theirs" -v p="$peak" \
    'BEGIN{printf "%-22s %10.2f %10.2f %8.2f %12.1f\n", n, a, b, (a>0?b/a:0), p/1024}'
}
hash_case sha256 sha256
hash_case sha1 sha1
hash_case md5 md5
hash_case sha512 sha512

# Start-up: a batch job runs the driver once per record and pays its start each
# time.  `macro` hashing a 3-byte file against `openssl version`, each as a
# whole process, 50 runs of each taken in turn; the medians.  This ratio is
# ours / openssl's (below 1.00 = we start sooner), the other way round from
# the throughput rows.
printf 'abc' > "$work/tiny.txt"
printf 'HASH\nmd5 -fin "%s"\n' "$work/tiny.txt" > "$work/tiny.mac"
: > "$work/startup.txt"
for _ in $(seq 50); do
  a=$EPOCHREALTIME
  "$macro" "$work/tiny.mac" "$work/result.txt" >/dev/null 2>&1
  b=$EPOCHREALTIME
  openssl version >/dev/null 2>&1
  echo "$a $b $EPOCHREALTIME" >> "$work/startup.txt"
done
[ "$(cat "$work/result.txt")" = "0" ] || { echo "HASH md5 (avvio) fallita"; exit 1; }
median() { sort -g | awk '{v[NR]=$1} END{print (NR%2 ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2)}'; }
ours=$(awk '{printf "%.6f\n", $2-$1}' "$work/startup.txt" | median)
theirs=$(awk '{printf "%.6f\n", $3-$2}' "$work/startup.txt" | median)
printf '\n%-52s %10s %10s %8s\n' "avvio (mediana di 50)" "sigillo ms" "openssl ms" "ratio"
awk -v a="$ours" -v b="$theirs" 'BEGIN{printf "%-52s %10.2f %10.2f %8.2f  (ratio = ours / openssl)\n",
  "start-up: macro HASH md5 (3 bytes) / openssl version", a*1000, b*1000, (b>0?a/b:0)}'

# Ciphers: our entry points over 16 KiB buffers (Google Benchmark) against
# `openssl speed -evp` at the same buffer size.
cmake -S . -B build -DSIGILLO_BENCH=ON >/dev/null
ninja -C build cipher_bench >/dev/null
build/bin/cipher_bench --benchmark_min_time=1 --benchmark_format=csv 2>/dev/null > "$work/ours.csv"
printf '\n%-22s %12s %12s %8s\n' "cifrario (16 KiB)" "sigillo MB/s" "openssl MB/s" "ratio"
cipher_case() {
  local ours theirs
  ours=$(awk -F, -v n="\"BM_$1\"" '$1==n {print $6/1e6}' "$work/ours.csv")
  theirs=$(openssl speed -evp "$2" -bytes 16384 -seconds 2 2>/dev/null |
    awk -v n="$2" 'tolower($1)==tolower(n) {v=$NF; sub(/k$/,"",v); print v*1000/1e6}')
  awk -v n="$2" -v a="$ours" -v b="$theirs" \
    'BEGIN{printf "%-22s %12.0f %12.0f %8.2f\n", n, a, b, (b>0?a/b:0)}'
}
cipher_case aes_128_ecb aes-128-ecb
cipher_case aes_128_cbc aes-128-cbc
cipher_case aes_128_cfb aes-128-cfb
cipher_case aes_128_ofb aes-128-ofb
cipher_case aes_256_ecb aes-256-ecb
cipher_case aes_256_cbc aes-256-cbc
cipher_case aes_256_cfb aes-256-cfb
cipher_case aes_256_ofb aes-256-ofb
cipher_case des_ede3_cbc des-ede3-cbc

# RSA-2048: RSASIGN (private, CRT) and RSAENC (public) against `openssl speed rsa2048`.
ninja -C build rsa_bench >/dev/null
build/bin/rsa_bench --benchmark_filter='BM_RSA(SIGN|ENC)$' --benchmark_min_time=2 \
  --benchmark_format=csv 2>/dev/null > "$work/rsa.csv"
read -r sign_s verify_s < <(openssl speed -seconds 3 rsa2048 2>/dev/null |
  awk '$1=="rsa" && $2=="2048" {sub(/s$/,"",$4); sub(/s$/,"",$5); print $4, $5}')
printf '\n%-22s %12s %12s %8s\n' "RSA-2048" "sigillo us" "openssl us" "ratio"
rsa_case() {
  local ours
  ours=$(awk -F, -v n="\"BM_$1\"" '$1==n {print $3/1000}' "$work/rsa.csv")
  awk -v n="$1" -v a="$ours" -v b="$2" \
    'BEGIN{printf "%-22s %12.1f %12.1f %8.2f\n", n, a, b*1e6, (a>0?b*1e6/a:0)}'
}
rsa_case RSASIGN "$sign_s"
rsa_case RSAENC "$verify_s"

# ASN1 parse of a DER CRL of 300,000 entries, made with `openssl ca -gencrl`,
# against `openssl crl -inform DER -noout` on the same file.
ninja -C build sigillo_cli >/dev/null
crl=$work/crl
mkdir -p "$crl"
openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=bench-ca -days 30 \
  -keyout "$crl/ca.key" -out "$crl/ca.pem" 2>/dev/null
awk 'BEGIN{for(i=1;i<=300000;i++) printf "R\t301231235959Z\t250101000000Z\t%08X\tunknown\t/CN=u%d\n", i, i}' \
  > "$crl/index.txt"
echo 01 > "$crl/crlnumber"
printf '[ca]\ndefault_ca=c\n[c]\ndatabase=%s/index.txt\ncrlnumber=%s/crlnumber\ndefault_md=sha256\ndefault_crl_days=30\ncertificate=%s/ca.pem\nprivate_key=%s/ca.key\n' \
  "$crl" "$crl" "$crl" "$crl" > "$crl/ca.cnf"
openssl ca -config "$crl/ca.cnf" -gencrl -out "$crl/crl.pem" 2>/dev/null
openssl crl -in "$crl/crl.pem" -outform DER -out "$crl/crl.der"
parsed=$(build/bin/sigillo ASN1 parse -fin "$crl/crl.der")
grep -q '^Nodi ASN.1: 9000' <<< "$parsed" || { echo "ASN1 parse fallita: $parsed"; exit 1; }
read -r ours ours_peak < <(best_of build/bin/sigillo ASN1 parse -fin "$crl/crl.der")
read -r theirs theirs_peak < <(best_of openssl crl -inform DER -noout -in "$crl/crl.der")
printf '\n%-22s %10s %10s %8s %12s %12s\n' "CRL 300000 voci" "sigillo s" "openssl s" \
  "tempo x" "sigillo MiB" "memoria x"
awk -v a="$ours" -v b="$theirs" -v p="$ours_peak" -v q="$theirs_peak" \
  'BEGIN{printf "%-22s %10.2f %10.2f %8.2f %12.1f %12.2f\n", "ASN1 parse", a, b, (b>0?a/b:0), p/1024, (q>0?p/q:0)}'

# CODA: a 128 MiB text corpus (the headers of /usr/include, repeated) into a
# library with `cmp -mode 3` and back out with `dcp`, against `zstd -3 -T1`
# and `zstd -d` on the same file; the library's size against zstd's output.
corpus=$work/corpus.txt
find /usr/include -type f -name '*.h' -print0 | sort -z | xargs -0 cat > "$work/headers.txt"
: > "$corpus"
while [ "$(stat -c %s "$corpus")" -lt $((128 * 1024 * 1024)) ]; do
  cat "$work/headers.txt" >> "$corpus"
done
truncate -s $((128 * 1024 * 1024)) "$corpus"
printf 'CODA\ncmp -lib "%s" -fin "%s" -mode 3 -o -s\n' "$work/corpus.cdl" "$corpus" > "$work/cmp.mac"
printf 'CODA\ndcp -lib "%s" -fout "%s" -nn corpus.txt -o -s\n' "$work/corpus.cdl" \
  "$work/back.txt" > "$work/dcp.mac"
runs=7  # sub-second cases: more runs to see past a busy machine
read -r cmp_ours cmp_peak < <(best_of "$macro" "$work/cmp.mac" "$work/result.txt")
[ "$(cat "$work/result.txt")" = "0" ] || { echo "CODA cmp fallita"; exit 1; }
read -r cmp_theirs _ < <(best_of zstd -3 -T1 -f -q "$corpus" -o "$work/corpus.zst")
read -r dcp_ours dcp_peak < <(best_of "$macro" "$work/dcp.mac" "$work/result.txt")
[ "$(cat "$work/result.txt")" = "0" ] && cmp -s "$corpus" "$work/back.txt" ||
  { echo "CODA dcp fallita"; exit 1; }
read -r dcp_theirs _ < <(best_of zstd -d -f -q "$work/corpus.zst" -o "$work/back.zst.txt")
printf '\n%-22s %10s %10s %8s %12s\n' "CODA (128 MiB testo)" "sigillo s" "zstd s" "ratio" \
  "picco MiB"
coda_case() {
  awk -v n="$1" -v a="$2" -v b="$3" -v p="$4" \
    'BEGIN{printf "%-22s %10.3f %10.3f %8.2f %12.1f\n", n, a, b, (a>0?b/a:0), p/1024}'
}
coda_case "CODA cmp / zstd -3" "$cmp_ours" "$cmp_theirs" "$cmp_peak"
coda_case "CODA dcp / zstd -d" "$dcp_ours" "$dcp_theirs" "$dcp_peak"
awk -v a="$(stat -c %s "$work/corpus.cdl")" -v b="$(stat -c %s "$work/corpus.zst")" \
  'BEGIN{printf "%-22s %10d %10d %8.4f\n", "dimensione (byte)", a, b, (b>0?a/b:0)}'

# CODA rebuild of a hostile file: 48 MiB of the local entry's magic number
# repeated, which the scan must get through in at most one second (its time
# is printed against that limit; there is no peer).
head -c $((48 * 1024 * 1024)) /dev/zero | tr '\0' 'x' | sed 's/xxxx/SGLM/g' > "$work/hostile.cdl"
printf 'CODA\nrebuild -lib "%s" -libout "%s" -o -s\n' "$work/hostile.cdl" "$work/rebuilt.cdl" \
  > "$work/rebuild.mac"
read -r rebuild_s rebuild_peak < <(best_of "$macro" "$work/rebuild.mac" "$work/result.txt")
[ "$(cat "$work/result.txt")" != "0" ] || { echo "CODA rebuild ostile accettata"; exit 1; }
printf '\n%-22s %10s %10s %8s %12s\n' "rebuild ostile 48 MiB" "sigillo s" "limite s" "ratio" \
  "picco MiB"
awk -v a="$rebuild_s" -v p="$rebuild_peak" \
  'BEGIN{printf "%-22s %10.3f %10.3f %8.2f %12.1f  (ratio = limit / ours)\n", "CODA rebuild", a, 1, (a>0?1/a:0), p/1024}'
