// The host's distribution, release, kernel level and word size.
#include "checkSupport.h"

typedef Cases Platform;

TEST_F(Platform, IsJudgedAsExpected) {
    expectCases("platform", checked());
}

TEST(Kernel, IsIdentified) {
    EXPECT_EQ(sqloGetOSLevel(), 0);
    string level = string(ppszPREREQ[OSVersion]) + "." + ppszPREREQ[OSRelease];
    if (ppszPREREQ[OSMinorRelease] != nullptr)
        level += string(".") + ppszPREREQ[OSMinorRelease];
    EXPECT_EQ((string(name.release) + "-").rfind(level + "-", 0), 0U) << level << " of " << name.release;
    for (const string machine : {"x86_64", "s390x", "ppc64le", "aarch64", "i686", "ppc64", "x86_64h", "X86_64", ""}) {
        setText(name.machine, machine);
        EXPECT_EQ(sqloIsOS64bit(), machine == "x86_64" || machine == "s390x" || machine == "ppc64le") << machine;
    }
}
