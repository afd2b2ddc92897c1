# Runs the check on this host. Arguments: TOKEN ARCHITECTURES RUN-DIRECTORY SECONDS LANGUAGE OPTION...
# The rest of standard input is a compressed archive with a directory for each architecture. Each line of the answer
# begins with TOKEN, so that other output of the login is not taken for an answer, and has a word and its value. The last
# word is "end". All files are in a directory of this run. It is removed before any output, so a cut connection leaves
# nothing behind.
token=$1 architectures=$2 run=$3 limit=$4 language=$5
shift 5
PATH=$PATH:/usr/sbin:/sbin
unset TAR_OPTIONS GZIP
directory='' child='' why=''
# the answer has at most 16 MB
longest_report=15728640 longest_errors=1048576

answer() {
    printf '%s %s\n' "$token" "$*"
}

# Removes the files that the program leaves in the temporary directory: one on purpose, others when it is killed.
finish() {
    [ -n "$directory" ] || return 0
    temporary=${KVXTMPDIR:-/tmp}
    ! id=$(cat "$directory/id" 2>/dev/null) || rm -f -- "$temporary/kvxprereqcheck.$id" "$temporary.$id"
    cd /
    rm -rf -- "$directory"
    directory=''
}

# Drain standard input, or the sender gets SIGPIPE.
give_up() {
    finish
    cat >/dev/null
    answer reason "$1"
    answer end
    exit 0
}

need_tools() {
    for tool in base64 cat date gzip head mktemp rm tar timeout wc; do
        command -v "$tool" >/dev/null || give_up "the host has no $tool"
    done
}

find_architecture() {
    machine=$(uname -m | head -c 256)
    case " $architectures " in
        *" $machine "*) ;;
        *) give_up "no archive for architecture $machine" ;;
    esac
}

unpack() {
    trouble=$(LC_ALL=C tar -xzf - --no-same-owner -C "$directory" 2>&1) ||
        give_up "the program cannot be unpacked in $run: ${trouble%%
*}"
    [ -x "$directory/$machine/bin/kvxprereqcheck" ] ||
        give_up "programs cannot be run in $run: it is mounted noexec; set prereqcheck_run_directory"
}

# exec keeps the process id of the shell, so it is the one in the names of the program's files.
check() {
    timeout -k 10 "$limit" sh -c 'echo $$ >id && exec "$@"' prereqcheck "$machine/bin/kvxprereqcheck" \
        -f KVXprereqs.xml -o report "$@" </dev/null >/dev/null 2>errors &
    child=$!
    wait "$child"
    status=$?
    child=''
}

# A program that was killed timed out only if the time limit is over.
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

# Sets the variable with the name of a file to the first BYTES of the file, in base64.
read_file() { # read_file NAME BYTES
    [ -f "$1" ] || return 0
    eval "$1=\$(head -c \"\$2\" \"\$1\" | base64 -w 0)"
    [ "$(wc -c <"$1")" -le "$2" ] || why="there are more than $2 bytes of $1"
}

trap finish EXIT
trap '[ -z "$child" ] || kill "$child"; wait; exit 1' HUP INT TERM

answer started >&2
need_tools
[ "$(id -u)" -eq 0 ] || give_up "the check needs root on the host"
find_architecture
directory=$(mktemp -d -- "$run/kvxrun.XXXXXXXXXX" 2>/dev/null) || give_up "no directory can be made in $run"
unpack
cd "$directory" || give_up "no directory can be made in $run"
[ -z "$language" ] || export KVXLANG="$language"
started=$(date +%s)
check "$@"
judge
report='' errors=''
read_file report "$longest_report"
read_file errors "$longest_errors"
finish

# The login may have printed a line without a newline: end it.
echo
if [ -n "$why" ]; then
    answer reason "$why"
else
    answer status "$status"
fi
answer report "$report"
answer errors "$errors"
answer end
