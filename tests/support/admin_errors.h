// What every cantora-admin error looks like: a non-zero status, nothing on
// stdout, one line "cantora-admin: ..." on stderr.
#ifndef CANTORA_TESTS_SUPPORT_ADMIN_ERRORS_H
#define CANTORA_TESTS_SUPPORT_ADMIN_ERRORS_H

#include <gtest/gtest.h>

#include "tests/support/harness.h"

namespace harness {

inline void ExpectOneLineError(const CommandResult& r) {
  EXPECT_NE(r.status, 0);
  EXPECT_EQ(r.out, "");
  ASSERT_FALSE(r.err.empty());
  EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
  EXPECT_EQ(r.err.rfind("cantora-admin: ", 0), 0u) << r.err;
}

}  // namespace harness

#endif
