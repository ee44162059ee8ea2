#!/usr/bin/env bash
# Runs many macro files through the macro driver with GNU parallel and writes
# one result line per file and a summary line.
set -uo pipefail

usage() {
  cat <<'EOF'
Uso: scripts/batch.sh DIR|LIST [opzioni]

Esegue ogni file macro con build/bin/macro, nella cartella del file macro,
con GNU parallel.
  DIR    tutti i file *.mac della cartella (in ordine di nome)
  LIST   file di testo con un file macro per riga (nomi relativi alla
         cartella corrente; le righe vuote sono ignorate)

Opzioni:
  -j N          lavori in parallelo (predefinito: uno per core di ogni host)
  -o FILE       scrive i risultati in FILE invece che sullo standard output
  -l DIR        salva l'output del driver di ogni file in DIR/NNNNN-nome.log
                (NNNNN = posizione nell'elenco); senza -l l'output e' scartato
  -m PROGRAMMA  il driver da usare (predefinito: build/bin/macro accanto a
                scripts/)
  -S HOSTS      esegue anche sugli HOSTS con --sshlogin di GNU parallel (":"
                e' questa macchina; ripetibile o separati da virgole); il
                driver e i file devono esistere negli stessi percorsi su ogni
                host (vedi docs/cli.md)
  -q            nessuna barra di avanzamento
  -h            questo aiuto

Risultati: una riga per file, nell'ordine dell'elenco, con file, codice di
ritorno e secondi separati da tabulazioni, poi la riga
"# N file eseguiti, F falliti, tempo totale S s". Il codice e' "exit=S"
quando il driver non ha scritto un codice (S = suo stato di uscita, "?"
se l'esecuzione non ha risposto).
Stato di uscita: 0 tutto a buon fine, 1 almeno un file fallito, 2 errore
d'uso o driver mancante.
EOF
}

die() {
  echo "batch.sh: $*" >&2
  exit 2
}

# One job: runs the driver on one macro file from the file's own folder and
# prints "position<TAB>code<TAB>seconds". Exported to GNU parallel, which may
# run it on another host.
sigillo_batch_job() {
  local driver=$1 logs=$2 seq=$3 file=$4
  local dir=${file%/*} base=${file##*/} log=/dev/null result status code start end
  [ -n "$logs" ] && printf -v log '%s/%05d-%s.log' "$logs" "$seq" "$base"
  result=$(mktemp) || return 1
  start=${EPOCHREALTIME//[!0-9]/}
  if cd "${dir:-/}" 2>/dev/null; then
    "$driver" "$base" "$result" >"$log" 2>&1
    status=$?
  else
    echo "Cartella non accessibile: ${dir:-/}" >"$log"
    status=1
  fi
  end=${EPOCHREALTIME//[!0-9]/}
  read -r code <"$result"
  rm -f "$result"
  [[ $status -eq 0 && $code =~ ^[0-9]+$ ]] || code="exit=$status"
  printf '%s\t%s\t%d.%03d\n' "$seq" "$code" $(((end - start) / 1000000)) $(((end - start) / 1000 % 1000))
}
export -f sigillo_batch_job

top=$(cd "$(dirname "$0")/.." && pwd)
driver=$top/build/bin/macro
jobs=100%
out=""
logs=""
quiet=0
source=""
remote=()
while [ $# -gt 0 ]; do
  case $1 in
    -j) [ $# -ge 2 ] || die "manca il valore di -j"; jobs=$2; shift ;;
    -o) [ $# -ge 2 ] || die "manca il valore di -o"; out=$2; shift ;;
    -l) [ $# -ge 2 ] || die "manca il valore di -l"; logs=$2; shift ;;
    -m) [ $# -ge 2 ] || die "manca il valore di -m"; driver=$2; shift ;;
    -S) [ $# -ge 2 ] || die "manca il valore di -S"; remote+=(--sshlogin "$2"); shift ;;
    -q) quiet=1 ;;
    -h | --help) usage; exit 0 ;;
    -*) usage >&2; exit 2 ;;
    *) [ -z "$source" ] || die "un solo DIR o LIST"; source=$1 ;;
  esac
  shift
done
[ -n "$source" ] || { usage >&2; exit 2; }
[[ $jobs =~ ^[1-9][0-9]*%?$ ]] || die "valore di -j non valido: $jobs"
command -v parallel >/dev/null || die "GNU parallel non installato (source scripts/deps.sh; ensure_packages parallel)"

# Jobs change folder, so every path they get is absolute.
absolute() { [[ $1 == /* ]] && printf '%s' "$1" || printf '%s/%s' "$PWD" "$1"; }
driver=$(absolute "$driver")
if [ ${#remote[@]} -eq 0 ] && [ ! -x "$driver" ]; then
  die "driver non trovato: $driver (./run.sh lo compila)"
fi
if [ -n "$logs" ]; then
  mkdir -p "$logs" || die "cartella dei log non creabile: $logs"
  logs=$(cd "$logs" && pwd)
fi

names=()
if [ -d "$source" ]; then
  LC_COLLATE=C
  for f in "${source%/}"/*.mac; do
    [ -f "$f" ] && names+=("$f")
  done
elif [ -f "$source" ] && [ -r "$source" ]; then
  while IFS= read -r line || [ -n "$line" ]; do
    line=${line%$'\r'}
    [ -n "$line" ] && names+=("$line")
  done <"$source"
else
  die "non e' una cartella ne' un elenco leggibile: $source"
fi
[ ${#names[@]} -gt 0 ] || die "nessun file macro in $source"

if [ -n "$out" ]; then
  exec 3>"$out" || die "file dei risultati non scrivibile: $out"
else
  exec 3>&1
fi
progress=()
# Other hosts get the job's definition from parallel; locally it is inherited
# (sending it costs a perl start per job).
[ ${#remote[@]} -gt 0 ] && remote+=(--env sigillo_batch_job)
[ $quiet -eq 0 ] && [ -t 1 ] && [ -t 2 ] && progress=(--bar)

# Results are written as they arrive (parallel keeps the input order), except
# on a terminal showing the progress bar, where they follow it.
held=()
failed=0
result() {
  local line
  [ "$2" = 0 ] || failed=$((failed + 1))
  # Tabs and line feeds in a name would break the line into fields.
  printf -v line '%s\t%s\t%s' "${names[$1 - 1]//[$'\t\n']/?}" "$2" "$3"
  if [ ${#progress[@]} -gt 0 ] && [ -z "$out" ]; then held+=("$line"); else echo "$line" >&3; fi
}

start=${EPOCHREALTIME//[!0-9]/}
next=1
while IFS=$'\t' read -r seq code secs; do
  if ! [[ $seq =~ ^[0-9]+$ ]] || [ "$seq" -lt $next ] || [ "$seq" -gt ${#names[@]} ]; then continue; fi
  # A job that printed nothing (a lost host) leaves a gap.
  for (( ; next < seq; next++)); do result $next 'exit=?' -; done
  result "$seq" "$code" "$secs"
  next=$((seq + 1))
done < <(for f in "${names[@]}"; do
  [[ $f == /* ]] && printf '%s\0' "$f" || printf '%s/%s\0' "$PWD" "$f"
done | parallel --will-cite -0 -q -k -j "$jobs" "${progress[@]}" "${remote[@]}" \
  sigillo_batch_job "$driver" "$logs" '{#}' '{}')
for (( ; next <= ${#names[@]}; next++)); do result $next 'exit=?' -; done
end=${EPOCHREALTIME//[!0-9]/}

[ ${#held[@]} -eq 0 ] || printf '%s\n' "${held[@]}" >&3
printf '# %d file eseguiti, %d falliti, tempo totale %d.%03d s\n' "${#names[@]}" "$failed" \
  $(((end - start) / 1000000)) $(((end - start) / 1000 % 1000)) >&3
[ $failed -eq 0 ]
