# Runs the check on this host: sh -c THIS NAME RUN-DIRECTORY SECONDS LENGTH LANGUAGE OPTION...
# Standard input is the archive in base64, LENGTH characters, and the prerequisites file in base64. Standard output is
# what came of it, a word and a value a line, the last line "end". Everything lies in a directory of this run, which is
# removed before anything is said: a link that was cut may end the saying.
run=$1 limit=$2 length=$3 language=$4
shift 4
umask 077
child=

encode() {
    base64 -w 0
    echo
}

finish() {
    [ -z "$directory" ] || rm -rf "$directory"
    directory=
}

give_up() {
    finish
    printf 'reason %s\nend\n' "$(printf '%s' "$1" | encode)"
    exit 0
}

directory=$(mktemp -d "$run/kvxrun.XXXXXXXXXX" 2>/dev/null) || give_up "no directory can be made in $run"
trap finish EXIT
trap '[ -z "$child" ] || kill "$child"; wait; exit 1' HUP INT TERM
trap '' PIPE

head -c "$length" | base64 -d | tar -xzf - -C "$directory" --strip-components=1 || give_up "no room for the program in $run"
base64 -d >"$directory/KVXprereqs.xml" || give_up "no room for the prerequisites file in $run"
cd "$directory" || give_up "no directory can be made in $run"
[ -x lib/kvxprereq/kvxprereqcheck ] || give_up "programs cannot be run in $run: it is mounted noexec"
[ -z "$language" ] || export KVXLANG="$language"

# The shell's process id becomes the program's, after which it names the files that it leaves.
timeout -k 10 "$limit" sh -c 'echo $$ >id && exec "$0" "$@"' "$directory/bin/kvxprereqcheck" -f KVXprereqs.xml -o report "$@" \
    >/dev/null 2>errors </dev/null &
child=$!
wait "$child"
status=$?
child=
report=$(encode 2>/dev/null <report)
errors=$(encode <errors)
temporary=${KVXTMPDIR:-/tmp}
rm -f "$temporary/kvxprereqcheck.$(cat id)" "$temporary.$(cat id)"
finish

case $status in
    124 | 137) printf 'reason %s\n' "$(printf 'out of time after %s seconds' "$limit" | encode)" ;;
    2 | 126 | 127) printf 'reason %s\n' "$(printf 'the program does not start on this host' | encode)" ;;
    *) printf 'status %s\n' "$status" ;;
esac
printf 'report %s\nerrors %s\nend\n' "$report" "$errors"
