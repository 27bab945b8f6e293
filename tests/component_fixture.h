#pragma once

#include <gtest/gtest.h>

#include "common/log_gate.h"
#include "zelvo/testing/capturing_log_sink.h"
#include "zelvo/testing/memory_store.h"
#include "zelvo/testing/seeded_uuid_source.h"
#include "zelvo/testing/virtual_clock.h"
#include "zelvo/testing/zone_calendar.h"

namespace zelvo::test {

// 2026-03-28T10:00:00Z in seconds since 2001.
inline constexpr double kStart = 796384800.0;

// The services a component takes, one single fake each, with nothing around them: a store, a
// clock at kStart, a calendar in UTC, UUID bytes, and a log sink behind a closed gate.
class ComponentTest : public ::testing::Test {
 protected:
  zelvo::testing::MemoryStore store;
  zelvo::testing::VirtualClock clock{kStart};
  zelvo::testing::ZoneCalendar calendar;
  zelvo::testing::SeededUuidSource uuids;
  zelvo::testing::CapturingLogSink log;
  LogGate gate{log};
};

}  // namespace zelvo::test
