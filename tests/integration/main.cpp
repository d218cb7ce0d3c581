// Every test runs on a host of its own: the socket's directory and the system log belong to this process alone, so that
// any number of them run side by side, and nothing of the machine is touched.
#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "sim/private_host.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();

    std::string why_not;
    if (sim::enter_private_host(&why_not) == sim::PrivateHost::none) {
        std::fprintf(stderr, "these tests need a mount namespace of their own: %s\n", why_not.c_str());
        return 1;
    }
    return RUN_ALL_TESTS();
}
