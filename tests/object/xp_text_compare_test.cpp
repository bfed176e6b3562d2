#include <string.h>

#include <random>
#include <string>

#include "object/xp_str.h"
#include "tests/support/fakes.h"

namespace {

constexpr int32_t BY_LOCALE = 7;

// The rule of the compare, a byte at a time.
int32_t compare_by_rule(std::string a, int32_t a_length, std::string b, int32_t b_length,
                        bool case_sensitive) {
  a.resize(a_length < 0 ? strlen(a.c_str()) : static_cast<size_t>(a_length));
  b.resize(b_length < 0 ? strlen(b.c_str()) : static_cast<size_t>(b_length));
  const char simple[] =
      " !\"#$%&'()*+,-./0123456789:@ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
  for (size_t i = 0; i < a.size() && i < b.size(); i++) {
    if (!a[i] || !b[i] || !strchr(simple, a[i]) || !strchr(simple, b[i])) return BY_LOCALE;
    const int byte_a = case_sensitive ? a[i] : toupper(a[i]);
    const int byte_b = case_sensitive ? b[i] : toupper(b[i]);
    if (byte_a != byte_b) return byte_a < byte_b ? -1 : 1;
  }
  return a.size() < b.size() ? -1 : a.size() > b.size();
}

}  // namespace

TEST(TextCompare, FastPathAndLocalePathAgreeWhereBothApply) {
  EXPECT_EQ(xp_text_compare("abc", -1, "ABD", -1, 0), -1);
  EXPECT_EQ(xp_text_compare("abc", -1, "ABC", -1, 0), 0);
  EXPECT_EQ(xp_text_compare("abc", -1, "ABC", -1, 1), 1);  // case counts: by byte
  EXPECT_EQ(xp_text_compare("ab", -1, "abc", -1, 0), -1);
  EXPECT_EQ(xp_text_compare("", -1, "", -1, 0), 0);
  EXPECT_EQ(xp_text_compare("a<b", -1, "A<B", -1, 0), 0);
  EXPECT_EQ(xp_text_compare("\xC3\xA4", -1, "z", -1, 0), -1);  // a-umlaut before z by the locale
  EXPECT_EQ(xp_text_compare("\xC3\x84", -1, "\xC3\xA4", -1, 0), 0);
  const std::string long_text(100, '<');
  EXPECT_EQ(xp_text_compare(long_text.c_str(), -1, long_text.c_str(), 100, 0), 0);
}

TEST(TextCompare, IsSmallerWhenMemoryIsOut) {
  const std::string long_text(100, '<');
  heap_watch watch;
  watch.fail_after(0);
  EXPECT_EQ(xp_text_compare(long_text.c_str(), -1, long_text.c_str(), -1, 0), -1);
  EXPECT_EQ(watch.live(), 0);
}

// Texts of all lengths around the blocks of the fast path, alike but for one byte or two.
TEST(TextCompare, DecidesByTheFirstByteThatIsApartOrNotSimple) {
  fake_platform fake;
  fake.text.compare_wide = [](const char16_t*, int32_t, const char16_t*, int32_t, bool) {
    return BY_LOCALE;
  };
  std::mt19937 random(1);
  const auto below = [&](size_t limit) { return random() % limit; };
  const char letters[] = "abcxyzABCXYZ 019:@_";
  for (int round = 0; round < 20000; round++) {
    std::string a(below(150), 'a');
    for (char& byte : a)
      byte = letters[below(sizeof(letters) - 1)];
    std::string b = a;
    for (char& byte : b)
      if (byte >= 'A' && below(2))
        byte = static_cast<char>(byte ^ (byte == '@' || byte == '_' ? 0 : 0x20));
    if (!a.empty() && below(2)) a[below(a.size())] = static_cast<char>(below(256));
    if (!b.empty() && below(2)) b[below(b.size())] = static_cast<char>(below(256));
    if (below(4) == 0) b.resize(below(b.size() + 1));
    const auto size_of = [&](const std::string& text) {
      return below(2) ? -1 : static_cast<int32_t>(below(2) ? text.size() : below(text.size() + 1));
    };
    const int32_t a_length = size_of(a);
    const int32_t b_length = size_of(b);
    for (int32_t case_sensitive = 0; case_sensitive < 2; case_sensitive++)
      ASSERT_EQ(xp_text_compare(a.c_str(), a_length, b.c_str(), b_length, case_sensitive),
                compare_by_rule(a, a_length, b, b_length, case_sensitive != 0))
          << a << " (" << a_length << ") | " << b << " (" << b_length << ") " << case_sensitive;
  }
}
