// SPDX-License-Identifier: Apache-2.0
// The netfilter tests of a binary run in a network namespace of the
// process's own, entered (unshare -n) before the first test: whatever a test
// does, even by mistake, cannot reach the host's connection tracking or its
// nftables tables.  Where no namespace can be made (not root) every test is
// skipped with that reason.
#ifndef DPMGMT_TESTS_PRIVATE_NETNS_H
#define DPMGMT_TESTS_PRIVATE_NETNS_H

#include <gtest/gtest.h>
#include <sched.h>

#include <cerrno>
#include <cstring>

namespace private_netns {

class Enter : public ::testing::Environment {
public:
    void SetUp() override {
        if (::unshare(CLONE_NEWNET) != 0)
            GTEST_SKIP() << "no network namespace of its own (unshare -n: " << std::strerror(errno)
                         << "); these tests run only inside one";
    }
};

inline ::testing::Environment *const kEnter = ::testing::AddGlobalTestEnvironment(new Enter);

}  // namespace private_netns

#endif
