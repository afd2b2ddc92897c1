// The checks for an instance to be: its user's account, its ports, and the umask.
#include "checkSupport.h"

typedef Cases InstanceChecks;

TEST_F(InstanceChecks, IsJudgedAsExpected) {
    // "home USER GROUP FILE..." lays a user with a primary group ("-": none) and what the home directory holds.
    const string lay = R"sh(printf '%s: files\n' passwd group services >/etc/nsswitch.conf; mkdir /x
home() {
    printf '%s\n' root:x:0:0:root:/root:/bin/sh "$1:x:7:8::/home/$1:/bin/sh" >/etc/passwd; echo root:x:0: >/etc/group
    [ "$2" = - ] || echo "$2:x:8:" >>/etc/group; user=$1; shift 2
    for file; do put "/home/$user/$file"; done
}
put /home/u/.bashrc; put /home/u/.profile
printf '%s\n' 'kvxc_inst 50000/tcp' 'kvxc_udp 50001/udp' 'other 50002/tcp' 'theirs 50003/tcp kvxc_alias' 'first 50004/tcp' \
    'kvxc_second 50004/tcp' 'kvxc_abcdefghi 50005/tcp' 'low 4464/tcp' 'top 65535/tcp' 'KVX_inst 60000/tcp' \
    'KVX_inst_1 60001/tcp' 'KVX_inst_2 60002/tcp' 'KVX_inst_END 60003/tcp' 'KVX_abcdefghijklmno 61000/tcp' >/etc/services
# "shell LINES" lets every other shell do these and write into the file that it was to write.
shell() {
    rm /bin/sh; printf '%s\n' '#!/bin/bash' 'for last; do :; done; file=${last#*> }' "{ $1; } >\${file%% *}" >/bin/sh
    chmod +x /bin/sh
}
)sh";
    for (const char *pName : {"instance-users", "instance-served-users", "instance-ports", "instance-umask"})
        expectCases(pName, checked(lay));
    expectCases("instance-reports", runInShell);
}
