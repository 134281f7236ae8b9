#include "Harness.h"

#include <gtest/gtest.h>

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    if (!pdalink::test::isSupervised()) {
        try {
            pdalink::test::supervise({PDALINK_TEST_LIBRARY, PDALINK_TEST_LIBRARY_NAME,
                                      PDALINK_TEST_SUPPRESSIONS "/leaks.supp",
                                      PDALINK_TEST_SUPPRESSIONS "/threads.supp"},
                                     argv);
        } catch (const std::exception& failure) {
            std::cerr << failure.what() << std::endl;
            return 1;
        }
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
