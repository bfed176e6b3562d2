#include <string>
#include <vector>

#include "object/xp_ref.h"
#include "tests/support/fakes.h"
#include "update/ruvo.h"

namespace {

std::vector<std::string> split(const std::string& line) {
  int32_t count = 0;
  xp_block<char*> vector(ruvo_split_command_line(line.c_str(), &count));
  EXPECT_EQ(vector[static_cast<size_t>(count)], nullptr);
  std::vector<std::string> arguments;
  for (int32_t i = 0; i < count; i++)
    arguments.push_back(vector[static_cast<size_t>(i)]);
  return arguments;
}

}  // namespace

TEST(CommandLine, SplitsByItsOwnRules) {
  using list = std::vector<std::string>;
  struct {
    const char* line;
    list arguments;
  } const rows[] = {
      {"", {""}},
      {"ruvo", {"ruvo"}},
      {"ruvo  a\t\tb\r\nc ", {"ruvo", "a", "b", "c"}},
      {" a", {"", "a"}},  // argument 0 starts at the first byte, even at a blank
      {"\"C:\\Program Files\\ruvo.exe\" -q", {"C:\\Program Files\\ruvo.exe", "-q"}},
      {"r 'a \"b\" c'", {"r", "a \"b\" c"}},
      {"r \"it's\"", {"r", "it's"}},
      {"r a\"b c\"d", {"r", "ab cd"}},  // a quote in the middle doesn't end the argument
      {"r \"\" x", {"r", "", "x"}},
      {"r \"\"", {"r", ""}},
      {"r a\\ b c\\\\d e\\\"f g\\'h", {"r", "a b", "c\\d", "e\"f", "g'h"}},
      {"r \"a\\\"b\" 'c\\'d'", {"r", "a\"b", "c'd"}},
      {"r c:\\x\\y\\", {"r", "c:\\x\\y\\"}},  // a backslash before anything else is plain
      {"r \"open end", {"r", "open end"}},
      {"r a\"\" ''b", {"r", "a", "b"}},
  };
  for (const auto& row : rows)
    EXPECT_EQ(split(row.line), row.arguments) << row.line;
}

TEST(CommandLine, LinesOfManyShortArgumentsFit) {
  std::string line = "r";
  for (int i = 0; i < 1000; i++)
    line += " x";
  EXPECT_EQ(split(line).size(), 1001u);
  std::string quotes = "r";
  for (int i = 0; i < 1000; i++)
    quotes += " \"\"";
  EXPECT_EQ(split(quotes).size(), 1001u);
}

TEST(CommandLine, WithoutMemoryThereAreNoArguments) {
  heap_watch watch;
  watch.fail_after(0);
  int32_t count = 7;
  EXPECT_EQ(ruvo_split_command_line("a b", &count), nullptr);
  EXPECT_EQ(count, 0);
}
