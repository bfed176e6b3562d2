#include "stream/xp_url.h"

#include <string>

#include "object/xp_data.h"
#include "object/xp_flat.h"
#include "object/xp_ref.h"
#include "tests/support/fakes.h"

namespace {

// "-" for an absent part.
std::string shown(const xp_url_part& part) {
  return part.text ? std::string(part.text, static_cast<size_t>(part.length)) : "-";
}

std::string parts_of(const xp_url* url) {
  std::string all;
  for (const xp_url_part* part :
       {&url->scheme, &url->user, &url->password, &url->host, &url->path, &url->query, &url->form})
    all += shown(*part) + "|";
  return all;
}

struct parse {
  const char* reason;
  const char* url;
  const char* parts;  // scheme, user, password, host, path, query, form
};

constexpr parse parses[] = {
    {"everything", "http://u:p@h:8080/d/f.msi?x&k=v", "http|u|p|h:8080|d/f.msi|x|k=v|"},
    {"no path", "http://h", "http|-|-|h|-|-|-|"},
    {"an empty path is there", "http://h/", "http|-|-|h||-|-|"},
    {"no slash, no scheme", "h:8080", "-|-|-|h:8080|-|-|-|"},
    {"a port before a slash is a scheme", "h:8080/x", "h|-|-|8080|x|-|-|"},
    {"a slash before the colon", "//a:80/b", "-|-|-|a:80|b|-|-|"},
    {"pairs at once", "http://h/p?a=1", "http|-|-|h|p|-|a=1|"},
    {"pairs only", "h/p?a=1&b=2", "-|-|-|h|p|-|a=1&b=2|"},
    {"a token only", "h/p?token", "-|-|-|h|p|token|-|"},
    {"token and pairs", "h/p?token&a=1&b", "-|-|-|h|p|token|a=1&b|"},
    {"token and token", "h/p?token&b", "-|-|-|h|p|token|b|"},
    {"nothing behind the mark", "h/p?", "-|-|-|h|p||-|"},
    {"a mark before any path", "http://h?a=1", "http|-|-|h?a=1|-|-|-|"},
    {"fragments stay", "http://h/p#f?q#g", "http|-|-|h|p#f|q#g|-|"},
    {"user without password", "http://u@h/", "http|u|-|h||-|-|"},
    {"the first sign divides", "http://u:p:q@h@i/", "http|u|p:q|h@i||-|-|"},
    {"escapes stay", "http://h/%41+b", "http|-|-|h|%41+b|-|-|"},
    {"blanks around", "  http://h\r\n", "http|-|-|h|-|-|-|"},
    {"a trailing blank stays", "http://h ", "http|-|-|h |-|-|-|"},
    {"only blanks", " \r\n", "-|-|-||-|-|-|"},
    {"an empty scheme", "://h/", "|-|-|h||-|-|"},
};

TEST(XpUrl, IsCutAtItsSeparators) {
  for (const parse& row : parses) {
    const xp_ref<xp_url> url(xp_url_new(row.url, -1));
    ASSERT_TRUE(url) << row.reason;
    EXPECT_EQ(parts_of(url.get()), row.parts) << row.reason;
  }
}

TEST(XpUrl, KeepsItsTextAsGivenButForTheEnds) {
  const xp_ref<xp_url> url(xp_url_new("\t http://h/\xc3\xa4?a=1 \r\n", -1));
  EXPECT_STREQ(url->text->text, "http://h/\xc3\xa4?a=1 ");
  EXPECT_EQ(url->capacity, 21);
  char buffer[64];
  EXPECT_EQ(url->render(url.get(), buffer, sizeof buffer), url->text->length);
  const xp_ref<xp_url> same(xp_url_new("http://h/\xc3\xa4?a=1 ", -1));
  EXPECT_EQ(xp_object_compare(url.get(), same.get()), 0);
}

TEST(XpUrl, NeedsSomeText) {
  EXPECT_EQ(xp_url_new(nullptr, -1), nullptr);
  EXPECT_EQ(xp_url_new("", -1), nullptr);
  EXPECT_EQ(xp_url_new("http://h", 0), nullptr);
  EXPECT_EQ(xp_url_from_str(nullptr), nullptr);
}

TEST(XpUrl, EndsItsParseAtANulInside) {
  const xp_ref<xp_url> url(xp_url_new("http://h\0x/y", 12));
  EXPECT_EQ(url->text->length, 12);
  EXPECT_EQ(parts_of(url.get()), "http|-|-|h|-|-|-|");
}

TEST(XpUrl, ComesBackFromItsFlattenedForm) {
  const xp_ref<xp_url> url(xp_url_new("http://h/a-long-path", -1));
  const xp_ref<xp_url> other(xp_url_new("ftp://x", -1));
  const xp_ref<xp_data> room(xp_data_new(nullptr, 64));
  xp_flat_writer writer = {.holder = nullptr, .bytes = room->bytes, .capacity = 64, .used = 0};
  EXPECT_EQ(url->control(url.get(), XP_CTL_FLATTEN, 7, &writer), 32u);
  EXPECT_EQ(other->control(other.get(), XP_CTL_UNFLATTEN, 8, room->bytes), 0u) << "another key";
  const xp_word restored = other->control(other.get(), XP_CTL_UNFLATTEN, 7, room->bytes);
  ASSERT_EQ(restored, reinterpret_cast<xp_word>(other.get()));
  xp_object_release(other.get());
  EXPECT_EQ(xp_object_compare(url.get(), other.get()), 0);
  EXPECT_EQ(parts_of(other.get()), "ftp|-|-|x|-|-|-|") << "the parse isn't redone";
  xp_url_parse(other.get());
  EXPECT_EQ(parts_of(other.get()), "http|-|-||-|-|-|") << "cut to the room of the copy";
}

TEST(XpUrl, SurvivesEveryFailedAllocation) {
  sweep_allocations([](heap_watch& watch) {
    const xp_ref<xp_url> url(xp_url_new("http://h/p", -1));
    ASSERT_EQ(!url, watch.failed());
  });
}

}  // namespace
