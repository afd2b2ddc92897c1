// Kernel module options, RDMA services, adapters and connectivity.
#include "checkSupport.h"

typedef Cases Network;

// "own" and "common" lay the two files of module options with a text, in which "#3" and "#7" stand for the option;
// "stack NAMES" lays the tool that tells a stack, at its first call and at the next one.
static const string options = R"sh(
text() { printf '%s' "$1" | sed 's/#\([0-9]\)/options mlx4_core log_mtts_per_seg=\1/g'; }
own() { put /etc/modprobe.conf.local "$(text "$1")"; }
common() { put /etc/modprobe.d/modprobe.conf "$(text "$1")"; }
stack() { fake /usr/bin/ofed_info "[ ! -e /asked ] && : >/asked && echo $1 || echo $2"; }
)sh";

TEST_F(Network, ModuleOptions) {
    expectCases("network-options", checked(options));
}

TEST_F(Network, Services) {
    expectCases("network-services", checked());
}

TEST_F(Network, Adapters) {
    expectCases("network-adapters", checked("script /kvxprereqcheckoss 'exit 0$(echo $1 | tr -cd 0-9)'"));
}

// "at DIRECTORY LINES" lays the connectivity tool in it. The listing tells what is there when it runs.
TEST_F(Network, Connectivity) {
    expectCases(
        "network-connectivity",
        checked("at() { mkdir -p $1 /vexha; script $1/kvxrocmc \"echo ran \\$5 with "
                "\\$(ls /tmp/kvxprereq*) >>/fakes/log; $2\"; }\n"
                "ln -s $runtime /program; quiet tar 'echo packed >/tmp/kvxprereq.tar'; log=vurk.kvx.cluster_int-"));
}
