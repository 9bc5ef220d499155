#pragma once

// What nearly every test needs.

#include "tests/support/Eventually.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TempDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace zelkor::test {

using namespace std::chrono_literals;
using namespace testing;

} // namespace zelkor::test
