#include "cmdline/xp_log.h"

#include "object/xp_array.h"
#include "object/xp_ref.h"
#include "tests/support/fake_machine.h"
#include "tests/support/memory_stream.h"

TEST(Log, TheMaskLetsCategoriesThrough) {
  fake_machine machine;
  xp_ref log(xp_log_new("Tallyport"));
  EXPECT_EQ(xp_log(log.get(), 1, 1000, "one"), 0);
  EXPECT_EQ(xp_log(log.get(), 0, 1000, "always"), 6);
  log->categories = 2;
  EXPECT_EQ(xp_log(log.get(), 1, 1000, "one"), 0);
  EXPECT_EQ(xp_log(log.get(), 3, 1000, "bit two"), 7);
  EXPECT_EQ(machine.texts(), (std::vector<std::string>{"always", "bit two"}));
}

TEST(Log, SeverityFollowsFromTheEventId) {
  fake_machine machine;
  xp_ref log(xp_log_new("Tallyport"));
  for (uint32_t id : {1000u, 0x4000044Cu, 0x800004B0u, 0xC0000514u})
    EXPECT_EQ(xp_log(log.get(), 0, id, "%s %d", "n", 1), 3);
  EXPECT_EQ(machine.events, (std::vector<fake_event>{{0, 1000, "n 1"},
                                                     {4, 0x4000044C, "n 1"},
                                                     {2, 0x800004B0, "n 1"},
                                                     {1, 0xC0000514, "n 1"}}));
}

TEST(Log, AnEmptyTextIsNoRecordUnlessAskedFor) {
  fake_machine machine;
  xp_ref log(xp_log_new("Tallyport"));
  xp_ref nothing(xp_array_new(0));
  EXPECT_EQ(xp_log(log.get(), 0, 1000, "%p{O}", nothing.get()), 0);
  EXPECT_TRUE(machine.events.empty());
  log->flags = XP_LOG_KEEP_EMPTY;
  EXPECT_EQ(xp_log(log.get(), 0, 1000, "%p{O}", nothing.get()), 0);
  EXPECT_EQ(machine.texts(), std::vector<std::string>{""});
}

TEST(Log, AStreamTakesThePlaceOfTheEventLog) {
  fake_machine machine;
  machine.now = 951782400;
  xp_ref log(xp_log_new("Tallyport"));
  memory_stream* stream = memory_stream_new("");
  log->stream = stream;
  EXPECT_EQ(xp_log(log.get(), 0, 1000, "closed"), 0);
  ASSERT_EQ(xp_stream_open(stream, STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_log(log.get(), 0, 1000, "plain"), 5);
  log->flags = XP_LOG_STAMP | XP_LOG_NUMERIC_STAMP;
  EXPECT_EQ(xp_log(log.get(), 0, 1000, "!"), 27);
  EXPECT_EQ(*stream->written, "plain\r\n2000-02-29 00:00:00.000000!\r\n");
  EXPECT_TRUE(machine.events.empty());
}

TEST(Log, TheSourceIsRegisteredWithThisProgram) {
  fake_machine machine;
  xp_log_register_source("Tallyport");
  const char key[] = "HKLM\\SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\Tallyport";
  EXPECT_NE(machine.text(key, "EventMessageFile"), "(none)");
  machine.refuse_registry_writes = true;
  xp_log_register_source("Refused");  // a refusal is nobody's concern
}

TEST(Log, EveryAllocationMayFail) {
  fake_machine machine;
  sweep_allocations([](heap_watch&) {
    xp_ref log(xp_log_new("Tallyport"));
    if (log) (void)xp_log(log.get(), 0, 1000, "%s", "text");
  });
}
