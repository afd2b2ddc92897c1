# Fish completion for kvxprereqcheck, kvxprereqlint and kvxprereqreport. It reads their options, with meanings and values, from
# their help, so that they are those of the installed programs.

# The levels of the prerequisites file on the command line, else of the one in this directory.
function __kvxprereq_levels
    set -l file KVXprereqs.xml
    for word in (commandline -opc)[2..-1]
        test -f "$word"; and set file $word
    end
    kvxprereqlint --levels "$file" 2>/dev/null
end

# Adds an option. The name of its argument in the help decides how the argument is completed; a meaning such as
# "table (default), json or html" lists the values.
function __kvxprereq_option # PROGRAM DASHES NAME ARGUMENT MEANING
    set -l kind -l
    test $argv[2] = -; and set kind -o
    test (string length -- $argv[3]) = 1; and set kind -s
    set -l values (string replace -r ':.*' '' -- $argv[5] | string replace ' (default)' '' | string replace ' or ' ', ')
    switch "$argv[4]"
        case ''
            complete -c $argv[1] $kind $argv[3] -d $argv[5]
        case FILE
            complete -c $argv[1] $kind $argv[3] -d $argv[5] -r -F
        case LEVEL
            complete -c $argv[1] $kind $argv[3] -d $argv[5] -x -a '(__kvxprereq_levels)'
        case RULE
            complete -c $argv[1] $kind $argv[3] -d $argv[5] -x -a '(__fish_append , (kvxprereqlint --list-rules | string replace -r " .*" ""))'
        case USER
            complete -c $argv[1] $kind $argv[3] -d $argv[5] -x -a '(__fish_complete_users)'
        case '*'
            string match -qr '^[A-Za-z0-9_]+(, [A-Za-z0-9_]+)+$' -- $values; or set values
            complete -c $argv[1] $kind $argv[3] -d $argv[5] -x -a (string replace -a , '' -- "$values")
    end
end

for program in kvxprereqcheck kvxprereqlint kvxprereqreport
    set -l ask --help
    test $program = kvxprereqcheck; and set ask -h
    complete -c $program -e
    for line in (KVXLANG=C $program $ask 2>/dev/null)
        set -l part (string match -r '^ {2,4}(?:-h, )?(--?)([a-z-]+)[ =]?([A-Z]*)(?:,\.{3})? +([^;]*)' -- $line)
        and __kvxprereq_option $program $part[2] $part[3] "$part[4]" $part[5]
    end
end
complete -c kvxprereqcheck -f
