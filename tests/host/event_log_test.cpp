#include "platform/host/event_log.h"

#include <vector>

#include "tests/support/fakes.h"
#include "tests/support/host/test_machine.h"

TEST(EventLog, ARecordIsALineOfFiveColumns) {
  test_machine machine;
  const xp_event_log_ops* log = xp_platform->event_log;
  const xp_event_source source = log->open("My Source");
  ASSERT_NE(source, 0);
  EXPECT_TRUE(log->report(source, XP_EVENT_WARNING, 0x800004B2, "C:\\a\ttab\r\nand a line"));
  EXPECT_TRUE(log->report(source, XP_EVENT_SUCCESS, 1000, ""));
  log->close(source);
  xp_platform->system->message_box("Hello", "Title");
  std::istringstream lines(machine.read("events.log"));
  std::string line;
  std::vector<std::string> columns;
  while (std::getline(lines, line)) {
    ASSERT_GT(line.size(), 24u);
    EXPECT_EQ(line[10], 'T');
    EXPECT_EQ(line.substr(23, 2), "Z\t");
    columns.push_back(line.substr(25));
  }
  ASSERT_EQ(columns.size(), 3u);
  EXPECT_EQ(columns[0], "warning\t0x800004B2\tMy Source\tC:\\a␉tab␍␊and a line");
  EXPECT_EQ(columns[1], "success\t0x000003E8\tMy Source\t");
  EXPECT_EQ(columns[2], "message-box\t0x00000000\tTitle\tHello");
}
