// Package queries, answered by a real rpm with packages built for the tests (rpm/make-rpms).
#include "checkSupport.h"

typedef Cases Packages;

TEST_F(Packages, AreJudgedAsExpected) {
    expectCases("packages", checked());
}
