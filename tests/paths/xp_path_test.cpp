#include "paths/xp_path.h"

#include <string.h>

#include <string>

#include "object/xp_flat.h"
#include "object/xp_trav.h"
#include "tests/support/fakes.h"
#include "tests/support/temp_folder.h"

namespace {

xp_ref<xp_path> path(const char* text, xp_path* parent = nullptr) {
  return xp_ref(xp_path_new(parent, text, -1));
}

std::u16string wide_of(const xp_ref<xp_path>& p) {
  const xp_block<char16_t> wide(xp_path_to_wide(p.get()));
  const std::u16string text = wide ? wide.get() : u"(null)";
  std::u16string copy(4 * text.size() + 3, u' ');  // bytes of UTF-8 count
  if (xp_path_copy_wide(p.get(), copy.data(), static_cast<int32_t>(copy.size()))) {
    EXPECT_TRUE(copy.c_str() == text);
  } else {
    EXPECT_FALSE(wide);
  }
  return text;
}

int32_t order(const xp_ref<xp_path>& a, const xp_ref<xp_path>& b) {
  return xp_object_compare(a.get(), b.get());
}

}  // namespace

TEST(Path, TextsAreStoredInOneForm) {
  const struct {
    const char* given;
    const char* stored;
    const char* reason;
  } rows[] = {
      {"foo", "\\foo", "a backslash goes in front"},
      {"foo\\", "\\foo", "and none stays at the end"},
      {"foo\\\\\\", "\\foo", "nor several"},
      {"\\foo\\bar", "\\foo\\bar", "ready already"},
      {"C:\\", "C:\\", "a root keeps its backslash"},
      {"C:\\\\", "C:\\", "but one"},
      {"C:\\foo\\", "C:\\foo", "a drive form needs no backslash in front"},
      {"C:", "C:", "a drive alone"},
      {"C:foo", "\\C:foo", "no drive form"},
      {"foo\\.", "\\foo", "a dot at the end is the folder itself"},
      {"\\\\server\\share", "\\\\server\\share", "a network path"},
      {"\\", "\\", "the root of the current drive"},
      {".foo", "\\.foo", "a name that begins with a dot"},
      {"..foo", "\\..foo", "or two"},
      {"..", "(null)", "no climbing"},
      {"..\\x", "(null)", "no climbing"},
      {"\\.", "(null)", "nothing named"},
      {".", "(null)", "nothing named"},
      {"\\.\\", "(null)", "nothing named"},
      {"\\\\", "\\", "the root again"},
      {"foo\\.\\.\\", "\\foo", "as often as there are dots"},
      {"", "(null)", "nothing named"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(text_of(path(row.given)), row.stored) << row.given << ": " << row.reason;
  EXPECT_EQ(xp_path_new(nullptr, nullptr, -1), nullptr);
}

TEST(Path, ChildrenShareTheirParentAndDropDotsOfNoMeaning) {
  const auto parent = path("C:\\base");
  const struct {
    const char* given;
    const char* stored;
  } rows[] = {{"foo", "C:\\base\\foo"},     {"\\foo", "C:\\base\\foo"},
              {".\\foo", "C:\\base\\foo"},  {"\\.\\foo", "C:\\base\\foo"},
              {"foo\\.", "C:\\base\\foo"},  {"a\\b\\", "C:\\base\\a\\b"},
              {"\\\\foo", "C:\\base\\foo"}, {"..", "(null)"},
              {".\\..", "(null)"}};
  for (const auto& row : rows) {
    const auto child = path(row.given, parent.get());
    EXPECT_EQ(text_of(child), row.stored) << row.given;
    if (child) {
      EXPECT_EQ(child->parent, parent.get()) << row.given;
    }
  }
  for (const char* nothing : {".", "\\.", ".\\", "\\.\\", "", "\\", "\\\\"})
    EXPECT_EQ(path(nothing, parent.get()).get(), parent.get()) << nothing;
}

TEST(Path, ChildrenOfARootTakeItsDriveOver) {
  const auto root = path("C:\\");
  const auto child = path("foo", root.get());
  EXPECT_EQ(text_of(child), "C:\\foo");
  EXPECT_EQ(child->parent, nullptr);
  EXPECT_EQ(path(".", root.get()).get(), root.get());
  const auto current = path("\\");
  EXPECT_EQ(text_of(path("foo", current.get())), "\\foo");
  const auto bare = path("C:");
  EXPECT_EQ(text_of(path("foo", bare.get())), "C:\\foo");
}

TEST(Path, LengthsCountBytesAndATextEndsAtItsNul) {
  EXPECT_EQ(text_of(xp_ref(xp_path_new(nullptr, "C:\\abc", 5))), "C:\\ab");
  EXPECT_EQ(text_of(xp_ref(xp_path_new(nullptr, "C:\\a.msi\0.exe", 13))), "C:\\a.msi");
  const xp_ref blank(xp_path_new(nullptr, nullptr, 4));
  EXPECT_EQ(blank->length, 4);
  EXPECT_EQ(memcmp(blank->text, "\0\0\0\0", 5), 0);
  const xp_ref wide(xp_path_from_wide(nullptr, u"C:\\\u00E9\u20AC"));
  EXPECT_EQ(text_of(wide), "C:\\\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(xp_path_from_wide(nullptr, nullptr), nullptr);
}

TEST(Path, ParentsAreFoundInTheTextAndInTheChain) {
  const auto flat = path("C:\\a\\b");
  const xp_ref up(xp_path_parent(flat.get()));
  EXPECT_EQ(text_of(up), "C:\\a");
  const xp_ref drive(xp_path_parent(up.get()));
  EXPECT_EQ(text_of(drive), "C:");
  EXPECT_EQ(xp_path_parent(drive.get()), nullptr);
  const auto child = path("c", flat.get());
  EXPECT_EQ(xp_ref(xp_path_parent(child.get())).get(), flat.get());
  const auto deep = path("c\\d", flat.get());
  EXPECT_EQ(text_of(xp_ref(xp_path_parent(deep.get()))), "C:\\a\\b\\c");
  EXPECT_EQ(xp_path_parent(nullptr), nullptr);
}

TEST(Path, WideFormJoinsTheChain) {
  const auto base = path("C:\\b\xC3\xA9");
  const auto deep = path("\xF0\x9F\x98\x80", path("c", base.get()).get());
  EXPECT_EQ(wide_of(deep), u"C:\\b\u00E9\\c\\\U0001F600");
  EXPECT_EQ(wide_of(path("C:")), u"C:\\");
  EXPECT_EQ(wide_of(path("C:\\")), u"C:\\");
  EXPECT_EQ(wide_of(path("foo", path("C:").get())), u"C:\\foo");
  EXPECT_EQ(xp_path_to_wide(nullptr), nullptr);
  const xp_ref empty(xp_path_new(nullptr, nullptr, 0));
  EXPECT_EQ(xp_path_to_wide(empty.get()), nullptr);
  char16_t room[6] = u"as is";
  EXPECT_FALSE(xp_path_copy_wide(nullptr, room, 6));
  EXPECT_FALSE(xp_path_copy_wide(empty.get(), room, 6));
  EXPECT_FALSE(xp_path_copy_wide(path("C:\\ab").get(), room, 6)) << "no room to spare";
  EXPECT_STREQ(reinterpret_cast<const char*>(room), reinterpret_cast<const char*>(u"as is"));
}

TEST(Path, RenderGivesTheWholeTextAndNoMore) {
  const auto deep = path("cd", path("b", path("C:\\a").get()).get());
  char buffer[16];
  memset(buffer, '#', sizeof(buffer));
  EXPECT_EQ(deep->render(deep.get(), nullptr, 0), 9);
  EXPECT_EQ(deep->render(deep.get(), buffer, 5), 5);
  EXPECT_EQ(std::string(buffer, 6), "C:\\a\\#");
  EXPECT_EQ(deep->render(deep.get(), buffer, 16), 9);
  EXPECT_EQ(std::string(buffer, 10), "C:\\a\\b\\cd#");
  const xp_ref flat(xp_path_flatten(deep.get()));
  EXPECT_EQ(flat->parent, nullptr);
  EXPECT_STREQ(flat->text, "C:\\a\\b\\cd");
  EXPECT_EQ(xp_ref(xp_path_flatten(flat.get())).get(), flat.get());
  EXPECT_EQ(xp_path_flatten(nullptr), nullptr);
}

TEST(Path, OrderIgnoresCaseAndHowTheTextIsCut) {
  const auto flat = path("C:\\A\\b");
  const auto a = path("c:\\a");
  const auto chain = path("B", a.get());
  EXPECT_EQ(order(flat, chain), 0);
  EXPECT_EQ(order(path("c:\\a\\B"), flat), 0);
  EXPECT_EQ(order(a, chain), -1) << "a parent comes first";
  EXPECT_EQ(order(chain, a), 1);
  EXPECT_EQ(order(path("x", a.get()), path("y", a.get())), -1);
  EXPECT_EQ(order(path("\\c:\\a\\b"), chain), 1) << "the longer path is greater";
  EXPECT_EQ(order(path("b", path("D:\\a").get()), chain), 1) << "decided by the last difference";
}

TEST(Path, FlattenedFormComesBackAsOneSegment) {
  uint8_t bytes[64] = {};
  xp_flat_writer writer = {nullptr, bytes, sizeof(bytes), 0};
  const auto deep = path("b", path("C:\\a").get());
  EXPECT_EQ(xp_object_control(deep.get(), XP_CTL_FLATTEN, 7, &writer), 20u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes) + 4, 4), "xpth");
  const auto unflatten = [&](uint32_t key) {
    return xp_ref(
        reinterpret_cast<xp_path*>(xp_object_control(deep.get(), XP_CTL_UNFLATTEN, key, bytes)));
  };
  EXPECT_EQ(text_of(unflatten(7)), "C:\\a\\b");
  EXPECT_EQ(unflatten(7)->parent, nullptr);
  EXPECT_EQ(text_of(unflatten(0)), "C:\\a\\b");
  EXPECT_EQ(unflatten(8).get(), nullptr);
  EXPECT_EQ(xp_object_control(deep.get(), XP_CTL_FLATTEN, 7, nullptr), 0u);
  EXPECT_EQ(xp_object_control(deep.get(), XP_CTL_SUPPORTS, xp_tag("strm"), nullptr), 0u);
}

TEST(Path, ADeepChainIsReleasedRenderedAndComparedWithoutRecursion) {
  xp_ref<xp_path> deep = path("C:\\x");
  xp_ref<xp_path> other = path("C:\\x");
  for (int i = 0; i < 200000; i++) {
    deep.reset(xp_path_new(deep.get(), "a", 1));
    other.reset(xp_path_new(other.get(), "a", 1));
  }
  EXPECT_EQ(deep->render(deep.get(), nullptr, 0), 4 + 400000);
  EXPECT_EQ(order(deep, other), 0);
  EXPECT_EQ(wide_of(deep).size(), 400004u);
}

TEST(Path, OnlyAnExistingFolderHandsOutATraversal) {
  const temp_folder folder;
  const auto file = folder.write("a.txt", "");
  const auto answer = [](const xp_ref<xp_path>& p, uint32_t operation) {
    return xp_object_control(p.get(), XP_CTL_TRAV, operation, nullptr);
  };
  EXPECT_NE(answer(folder.path, XP_TRAV_NEW), 0u);
  EXPECT_EQ(answer(folder.path, XP_TRAV_NEXT), 0u);
  EXPECT_EQ(answer(file, XP_TRAV_NEW), 0u);
  EXPECT_EQ(answer(folder.at("absent"), XP_TRAV_NEW), 0u);
}
