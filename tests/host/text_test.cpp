#include <gtest/gtest.h>
#include <string.h>
#include <sys/mman.h>

#include "object/xp_charset.h"
#include "object/xp_str.h"

namespace {

// Two pages of memory, the second of which can't be read.
class PageEnd : public ::testing::Test {
 protected:
  void SetUp() override {
    pages = static_cast<char*>(
        mmap(nullptr, 2 * PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(pages, MAP_FAILED);
    ASSERT_EQ(mprotect(pages + PAGE, PAGE, PROT_NONE), 0);
  }
  void TearDown() override { munmap(pages, 2 * PAGE); }

  // A text whose NUL, or whose last byte, is the last that can be read.
  char* text_at_end(size_t length, bool with_nul) {
    char* text = pages + PAGE - length - (with_nul ? 1 : 0);
    memset(text, 'a', length);
    if (with_nul) text[length] = 0;
    return text;
  }

  static constexpr size_t PAGE = 4096;
  char* pages = nullptr;
};

TEST_F(PageEnd, ComparesReadNothingBehindATextsPage) {
  char other[256];
  memset(other, 'A', sizeof(other));
  other[255] = 0;
  for (size_t length = 0; length < 100; length++) {
    const auto counted = static_cast<int32_t>(length);
    const char* measured = text_at_end(length, true);
    EXPECT_EQ(xp_text_compare(measured, -1, other, -1, 0), -1) << length;
    EXPECT_EQ(xp_text_compare(other, -1, measured, -1, 0), 1) << length;
    EXPECT_EQ(xp_text_compare(measured, -1, other, counted, 0), 0) << length;
    const char* text = text_at_end(length, false);
    EXPECT_EQ(xp_text_compare(text, counted, other, counted, 0), 0) << length;
    EXPECT_EQ(xp_text_compare(other, -1, text, counted, 0), 1) << length;
  }
}

TEST_F(PageEnd, SearchesReadNothingBehindATextsPage) {
  for (size_t length = 1; length < 100; length++) {
    const auto counted = static_cast<int32_t>(length);
    char* text = text_at_end(length, false);
    EXPECT_EQ(xp_text_find_set(text, counted, "xyz", 0), -1) << length;
    text[length - 1] = 'z';
    EXPECT_EQ(xp_text_find_set(text, counted, "xyz", 0), counted - 1) << length;
  }
}

}  // namespace
