#!/usr/bin/env bash
# Runs a few hundred macro files through scripts/batch.sh and checks the
# result lines, the summary, the exit status and the files the macros wrote.
set -uo pipefail
src=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
batch() { "$src/scripts/batch.sh" -j 2 -q -m "$build/bin/macro" "$@"; }
fail=0
check() {
  [ "$2" = "$3" ] || { printf '%s: atteso <%s>, ottenuto <%s>\n' "$1" "$3" "$2"; fail=1; }
}
md5upper() { md5sum <"$1" | cut -c1-32 | tr a-f A-F; }

# 300 md5 runs, three of them failing with known codes, and one file with
# blanks and a dollar sign in its name (first in name order).
mkdir lotto altro
printf 'HASH\nmd5 -fin "con spazio.txt" -fout spazio.md5\n' >'lotto/a spazio $x.mac'
printf 'con spazio\n' >'lotto/con spazio.txt'
declare -A failing=([050]='md5 -fin manca.txt:200' [100]='sha3 -fin in100.txt:212'
  [150]='hmcsha1 -fin in150.txt:214')
printf 'lotto/a spazio $x.mac\t0\n' >expected
for i in $(seq -w 1 300); do
  printf 'riga %s\n' "$i" >"lotto/in$i.txt"
  params="md5 -fin in$i.txt -fout out$i.md5" code=0
  [ -n "${failing[$i]:-}" ] && { params=${failing[$i]%:*}; code=${failing[$i]#*:}; }
  printf 'HASH\n%s\n' "$params" >"lotto/m$i.mac"
  printf 'lotto/m%s.mac\t%s\n' "$i" "$code" >>expected
done

batch lotto -o result.tsv -l logs
check "stato con file falliti" $? 1
head -n -1 result.tsv | cut -f1,2 | diff expected - || fail=1
check "tempi non numerici" "$(head -n -1 result.tsv | cut -f3 | grep -cvE '^[0-9]+\.[0-9]{3}$')" 0
tail -n 1 result.tsv | grep -qE '^# 301 file eseguiti, 3 falliti, tempo totale [0-9]+\.[0-9]{3} s$' ||
  { echo "riepilogo: $(tail -n 1 result.tsv)"; fail=1; }
for i in 001 149 300; do
  check "out$i.md5" "$(cat lotto/out$i.md5)" "$(md5upper lotto/in$i.txt)"
done
check spazio.md5 "$(cat lotto/spazio.md5)" "$(md5upper 'lotto/con spazio.txt')"
check "log" "$(ls logs | wc -l)" 301
grep -q 'manca.txt' logs/00051-m050.mac.log || { echo "log di m050 senza parametri"; fail=1; }

# A list of good files from two folders, relative to the current one.
printf 'HASH\nmd5 -fin dati -fout dati.md5\n' >altro/uno.mac
printf 'altro\n' >altro/dati
printf '%s\n' 'lotto/a spazio $x.mac' altro/uno.mac lotto/m002.mac >buoni.lst
batch buoni.lst >result.tsv
check "stato senza falliti" $? 0
check "righe" "$(cut -f1,2 result.tsv | head -n 3 | tr '\t\n' ':;')" 'lotto/a spazio $x.mac:0;altro/uno.mac:0;lotto/m002.mac:0;'
check "riepilogo senza falliti" "$(tail -n 1 result.tsv | cut -d, -f1,2)" "# 3 file eseguiti, 0 falliti"
check dati.md5 "$(cat altro/dati.md5)" "$(md5upper altro/dati)"

# A file the driver cannot open, a driver that wrote 0 but failed, and a
# driver that does not exist.
printf '%s\n' altro/uno.mac altro/manca.mac >misto.lst
batch misto.lst >result.tsv
check "stato con file mancante" $? 1
check "file mancante" "$(sed -n 2p result.tsv | cut -f1,2)" $'altro/manca.mac\texit=1'
printf '#!/bin/sh\necho 0 >"$2"; exit 3\n' >falso && chmod +x falso
batch misto.lst -m "$work/falso" >result.tsv
check "driver fallito" "$(head -n 1 result.tsv | cut -f2)" exit=3
batch misto.lst -m "$work/nessuno" >result.tsv 2>err.txt
check "stato senza driver" $? 2
check "messaggio senza driver" "$(cat err.txt)" "batch.sh: driver non trovato: $work/nessuno (./run.sh lo compila)"

[ $fail -eq 0 ] || exit 1
echo "batch: tutti i controlli superati"
