#!/bin/sh
# The four checks of the comparison as a shell script. Argument: the path of the library.
set -eu

rpm -q --quiet ksh
[ -f "$1" ]
[ "$(printf '%s\n' 4.18.0 "$(uname -r)" | sort -V | head -n 1)" = 4.18.0 ]
[ "$(df -Pk /tmp | awk 'NR == 2 { print $4 }')" -ge 2000000 ]
