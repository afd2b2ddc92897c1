# Runs the check on this host: sh -c THIS NAME RUN-DIRECTORY SECONDS LANGUAGE OPTION...
# Standard input is a compressed archive in base64. Standard output is what came of it, a word and its value a line, the
# last line "end". Everything lies in a directory of this run, which is gone before anything is said: a link that was cut
# may end the saying.
run=$1 limit=$2 language=$3
shift 3
PATH=$PATH:/usr/sbin:/sbin
directory='' child=''

encode() {
    base64 -w 0
    echo
}

# Of the files that the program leaves in the temporary directory it keeps one on purpose, others when it is killed.
finish() {
    [ -n "$directory" ] || return 0
    temporary=${KVXTMPDIR:-/tmp}
    ! id=$(cat "$directory/id" 2>/dev/null) || rm -f -- "$temporary/kvxprereqcheck.$id" "$temporary.$id"
    cd /
    rm -rf -- "$directory"
    directory=''
}

# What was not read yet must not end the sender.
give_up() {
    finish
    cat >/dev/null
    printf 'reason %s\nend\n' "$1"
    exit 0
}

need_tools() {
    for tool in base64 cat date gzip mktemp rm tar timeout; do
        command -v "$tool" >/dev/null || give_up "the host has no $tool"
    done
}

unpack() {
    trouble=$(base64 -d 2>&1 | LC_ALL=C tar -xzf - --no-same-owner -C "$directory" 2>&1) ||
        give_up "the program cannot be unpacked in $run: ${trouble%%
*}"
    [ -x "$directory/bin/kvxprereqcheck" ] ||
        give_up "programs cannot be run in $run: it is mounted noexec; set prereqcheck_run_directory"
}

# The shell's process id becomes the program's, after which it names its files.
check() {
    timeout -k 10 "$limit" sh -c 'echo $$ >id && exec bin/kvxprereqcheck "$@"' prereqcheck \
        -f KVXprereqs.xml -o report "$@" </dev/null >/dev/null 2>errors &
    child=$!
    wait "$child"
    status=$?
    child=''
}

# A program that was killed is one that hung only when the time is up.
judge() {
    seconds=$(($(date +%s) - started))
    case $status in
        124) why="out of time after $limit seconds" ;;
        137) [ "$seconds" -ge "$limit" ] && why="out of time after $limit seconds" || why="the program was killed" ;;
        2 | 126 | 127) why="the program does not start on this host" ;;
        255) why='' ;;
        *) [ "$status" -gt 128 ] && why="the program was ended by signal $((status - 128))" || why='' ;;
    esac
    [ -n "$why" ] || [ "$status" -ne 0 ] || [ -s report ] || why="there is no report"
}

trap finish EXIT
trap '[ -z "$child" ] || kill "$child"; wait; exit 1' HUP INT TERM

need_tools
[ "$(id -u)" -eq 0 ] || give_up "the check needs root on the host"
directory=$(mktemp -d -- "$run/kvxrun.XXXXXXXXXX" 2>/dev/null) || give_up "no directory can be made in $run"
unpack
cd "$directory" || give_up "no directory can be made in $run"
[ -z "$language" ] || export KVXLANG="$language"
started=$(date +%s)
check "$@"
judge
report=''
[ ! -f report ] || report=$(encode <report)
errors=$(encode <errors)
finish

[ -n "$why" ] && printf 'reason %s\n' "$why" || printf 'status %s\n' "$status"
printf 'report %s\nerrors %s\nend\n' "$report" "$errors"
