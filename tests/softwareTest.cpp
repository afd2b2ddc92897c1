// Shared libraries and system settings.
#include "checkSupport.h"

#include <gnu/libc-version.h>

typedef Cases Software;

// "map FILE..." covers this process's memory map, without files by what cannot be opened; "libc" and "cpp" lay a
// library with a text and map it; "small FILE BYTE" makes the smallest library there is, with a build ID of such bytes;
// "without NAME" removes a library.
static const string libraries = R"sh(map() {
    printf '%s\n' '00400000-00452000 r-xp 00000000 08:02 173521 /opt/program' '7ff000-7ff100 rw-p 0 00:00 0 ' >/maps
    [ $# -eq 0 ] || printf '7f0000000000-7f0000001000 r--p 00000000 08:02 135522 %s\n' "$@" >>/maps
    [ $# -gt 0 ] || { rm /maps; mknod /maps c 9 9; }
    mount --bind /maps /proc/$PPID/maps
}
libc() { put /x/libc.so.6 "$1"; map /x/libm.so /x/libc.so.6; }
cpp() { put /x/libstdc++.so.6.0 "$1"; map /x/libstdc++.so.6.0; }
small() { c++ -shared -nostdlib -x c /dev/null -o $1 -Wl,--build-id=0x$(many 20 $2); }
without() { rm -f $(ldconfig -p | sed -n "s/.*$1 .*=> //p"); }
three='C Library stable release version 2.12.2, by x et al.\n'
)sh";

TEST_F(Software, IsJudgedAsExpected) {
    const answerer answer = checked(libraries);
    expectCases("software", [&](const string &line) {
        return replaced(answer(line), {{string("(OWN\\|[^|]*\\|GLIBC_FOUND )") + gnu_get_libc_version(), "$1OWN"}});
    });
}
