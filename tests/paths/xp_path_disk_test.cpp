// The constructors that ask the disk.
#include <string>

#include "paths/xp_path.h"
#include "tests/support/fakes.h"
#include "tests/support/fault_files.h"
#include "tests/support/temp_folder.h"

namespace {

xp_ref<xp_path> path(const char* text) {
  return xp_ref(xp_path_new(nullptr, text, -1));
}

}  // namespace

TEST(PathOnDisk, FullPathsAreAbsolute) {
  const xp_ref here(xp_path_known(xp_tag("curr")));
  EXPECT_EQ(text_of(xp_ref(xp_path_full("no such name", -1))), text_of(here) + "\\no such name");
  EXPECT_EQ(text_of(xp_ref(xp_path_full("a b\\..\\x y", -1))), text_of(here) + "\\x y");
  EXPECT_EQ(text_of(xp_ref(xp_path_full("C:\\no such\\x~1", -1))), "C:\\no such\\x~1");
  EXPECT_EQ(text_of(xp_ref(xp_path_full("C:\\no such/x/../y", -1))), "C:\\no such\\y");
  EXPECT_EQ(text_of(xp_ref(xp_path_full("C:\\", -1))), "C:\\");
  EXPECT_EQ(text_of(xp_ref(xp_path_full("x*.msi", -1))), "\\x*.msi") << "a pattern stays";
  EXPECT_EQ(xp_path_full(nullptr, 4), nullptr);
  EXPECT_EQ(xp_path_full("", -1), nullptr);
  const std::string endless(5000, 'a');
  EXPECT_EQ(text_of(xp_ref(xp_path_full(("C:/" + endless).c_str(), -1))), "C:\\" + endless)
      << "longer than the first buffer";
}

namespace {

// A disk on which short names have long ones, as rows of what is looked up and what is found.
struct known_name {
  const char16_t* asked;
  const char16_t* name;
  const char16_t* alias;
};
const known_name known_names[] = {
    {u"C:\\PROGRA~1", u"Program Files", u"PROGRA~1"},
    {u"C:\\Program Files\\LONGAP~1.DIR", u"long application.dir", u"LONGAP~1.DIR"},
    {u"C:\\Program Files\\long application.dir\\a long name.txt", u"A long Name.txt", u""},
    {u"C:\\Odd", u"??", u"ODD~1"},
};
int32_t lookups;

xp_file_status find_known(const char16_t* path, xp_find_entry* entry, xp_find_handle* out) {
  lookups++;
  for (const known_name& known : known_names) {
    if (std::u16string(path) != known.asked) continue;
    *entry = {};
    std::u16string(known.name).copy(entry->name, 259);
    std::u16string(known.alias).copy(entry->short_name, 13);
    *out = 1;
    return XP_FILE_OK;
  }
  return XP_FILE_NOT_FOUND;
}

struct ShortNames : testing::Test {
  ShortNames() {
    fake.files.find_first = find_known;
    fake.files.find_close = [](xp_find_handle) {};
    lookups = 0;
  }
  fake_platform fake;
};

}  // namespace

TEST_F(ShortNames, BecomeLongOnesWhereTheDiskKnowsThem) {
  EXPECT_EQ(text_of(xp_ref(xp_path_full("C:\\PROGRA~1\\LONGAP~1.DIR\\a long name.txt", -1))),
            "C:\\Program Files\\long application.dir\\A long Name.txt");
  EXPECT_EQ(lookups, 3);
  EXPECT_EQ(text_of(xp_ref(xp_path_full("C:\\PROGRA~1\\", -1))), "C:\\Program Files");
}

TEST_F(ShortNames, StayWhereTheDiskDoesNotAndNothingBelowIsAsked) {
  EXPECT_EQ(text_of(xp_ref(xp_path_full("C:\\NOSUCH~1\\PROGRA~1\\x", -1))),
            "C:\\NOSUCH~1\\PROGRA~1\\x");
  EXPECT_EQ(lookups, 1);
  EXPECT_EQ(text_of(xp_ref(xp_path_full("C:\\not a short name\\a\\too-long-a-stem.x\\b", -1))),
            "C:\\not a short name\\a\\too-long-a-stem.x\\b");
  fake.files.find_first = [](const char16_t*, xp_find_entry*, xp_find_handle*) {
    lookups++;
    return XP_FILE_DENIED;
  };
  lookups = 0;
  EXPECT_EQ(text_of(xp_ref(xp_path_full("C:\\A~1\\B~1\\C~1", -1))), "C:\\A~1\\B~1\\C~1");
  EXPECT_EQ(lookups, 3) << "a refused folder may hold one that isn't";
}

TEST_F(ShortNames, ChildrenAreAskedForOnlyWhenTheNameCouldBeShort) {
  const auto root = path("C:\\");
  const auto child = [&](const char* name) {
    return text_of(xp_ref(xp_path_child(root.get(), name)));
  };
  EXPECT_EQ(child("PROGRA~1"), "C:\\Program Files");
  EXPECT_EQ(child("Odd"), "C:\\ODD~1") << "a name that can't be expressed gives its alias";
  lookups = 0;
  for (const char* name : {"a b", "a+b", "x;y", "[x]", "longer than twelve", "ninechars.x",
                           "a.html", "*", "a\\b", "a/b", "", "."})
    child(name);
  EXPECT_EQ(lookups, 0);
  EXPECT_EQ(child("absent"), "C:\\absent");
  EXPECT_EQ(lookups, 1);
  EXPECT_EQ(xp_path_child(root.get(), nullptr), nullptr);
  EXPECT_EQ(xp_path_child(root.get(), ".."), nullptr);
}

TEST(PathOnDisk, RelativeTextsAreSeenFromTheFolder) {
  const temp_folder folder;
  const auto sub = folder.make("sub");
  const auto file = folder.write("settings.plist", "x");
  const std::string base = text_of(folder.path);
  const auto resolved = [](const xp_ref<xp_path>& parent, const char* text) {
    return text_of(xp_ref(xp_path_resolve(parent.get(), text)));
  };
  EXPECT_EQ(resolved(file, "x.msi"), base + "\\x.msi") << "next to the file";
  EXPECT_EQ(resolved(file, ""), base + "\\settings.plist");
  EXPECT_EQ(resolved(file, "."), base);
  EXPECT_EQ(resolved(sub, "x.msi"), base + "\\sub\\x.msi");
  EXPECT_EQ(resolved(sub, "..\\x"), base + "\\x");
  EXPECT_EQ(resolved(sub, ".\\..\\.\\x\\..\\y"), base + "\\x\\..\\y") << "leading dots alone";
  EXPECT_EQ(resolved(sub, "\\x"), base + "\\sub\\x");
  EXPECT_EQ(resolved(sub, ".."), base);
  EXPECT_EQ(resolved(sub, "C:\\no such\\x"), "C:\\no such\\x");
  EXPECT_EQ(resolved(sub, "C:/no such/x"), "C:\\no such\\x");
  EXPECT_EQ(resolved(path("C:\\no such"), "..\\..\\..\\x"), "C:\\x") << "nothing is above the top";
  EXPECT_EQ(xp_path_resolve(nullptr, "x"), nullptr);
  EXPECT_EQ(xp_path_resolve(sub.get(), nullptr), nullptr);
  EXPECT_EQ(xp_path_resolve(nullptr, ""), nullptr);
}

TEST(PathOnDisk, LookupsLeaveNoSearchOpenAndFailuresLeaveTheText) {
  const temp_folder folder;
  const auto file = folder.write("a.txt", "x");
  const std::string text = text_of(file);
  fault_files faults;
  EXPECT_EQ(text_of(xp_ref(xp_path_full(text.c_str(), -1))), text);
  EXPECT_GT(faults.calls(FILE_FIND_FIRST), 0);
  EXPECT_EQ(faults.open_handles(), 0);
  faults.fail(FILE_FIND_FIRST, 1, XP_FILE_FAILED, true);
  EXPECT_EQ(text_of(xp_ref(xp_path_full(text.c_str(), -1))), text);
  EXPECT_EQ(text_of(xp_ref(xp_path_child(folder.path.get(), "a.txt"))), text);
  faults.fail(FILE_FULL_PATH, 1, XP_FILE_FAILED);
  EXPECT_EQ(text_of(xp_ref(xp_path_full("x y\\z z", -1))), "\\x y\\z z") << "as it was given";
}

TEST(PathMemory, EveryAllocationMayFail) {
  const temp_folder folder;
  const auto file = folder.write("a.txt", "x");
  const std::string text = text_of(file);
  const xp_ref above(xp_path_new(xp_ref(xp_path_parent(folder.path.get())).get(), "b\\c", -1));
  sweep_allocations([&](heap_watch& watch) {
    const xp_ref full(xp_path_full(text.c_str(), -1));
    const xp_ref child(full ? xp_path_child(folder.path.get(), "a.txt") : nullptr);
    const xp_ref beside(child ? xp_path_resolve(child.get(), "..\\b\\c") : nullptr);
    EXPECT_TRUE(!beside || xp_object_compare(beside.get(), above.get()) == 0);
    const xp_ref flat(beside ? xp_path_flatten(beside.get()) : nullptr);
    const xp_block<char16_t> wide(xp_path_to_wide(flat.get()));
    EXPECT_EQ(wide.get() == nullptr, watch.failed() && !wide);
    if (!watch.failed()) {
      EXPECT_EQ(xp_object_compare(full.get(), child.get()), 0);
    }
  });
}
