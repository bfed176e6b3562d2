#include "paths/xp_folder_walk.h"

#include <algorithm>
#include <string>
#include <vector>

#include "object/xp_trav.h"
#include "tests/support/fakes.h"
#include "tests/support/fault_files.h"
#include "tests/support/temp_folder.h"

namespace {

using names = std::vector<std::string>;

struct FolderWalk : testing::Test {
  FolderWalk() {
    folder.write("a.txt", "");
    folder.make("b");
    folder.write("b\\c.txt", "");
    folder.make("b\\deep");
    folder.write("b\\deep\\D.TXT", "");
    folder.make("empty");
    walk.reset(static_cast<xp_folder_walk*>(xp_traversal_new(folder.path.get())));
  }
  // What the walk gives from here on, seen from the folder.
  names rest() {
    names found;
    const size_t front = text_of(folder.path).size() + 1;
    while (const xp_ref item{xp_traversal_next(walk.get())})
      found.push_back(text_of(xp_as_path(item.get())).substr(front));
    return found;
  }
  names sorted_rest() {
    names found = rest();
    std::sort(found.begin(), found.end());
    return found;
  }
  void set_pattern(const char16_t* pattern) {
    const std::u16string text(pattern);
    walk->pattern = static_cast<char16_t*>(xp_heap_alloc((text.size() + 1) * sizeof(char16_t)));
    text.copy(walk->pattern, text.size());
  }

  temp_folder folder;
  fault_files faults;
  xp_ref<xp_folder_walk> walk;
};

size_t place(const names& list, const char* name) {
  return static_cast<size_t>(std::find(list.begin(), list.end(), name) - list.begin());
}

}  // namespace

TEST_F(FolderWalk, GivesTheWholeTreeWithFoldersFirst) {
  const names found = rest();
  EXPECT_EQ(found.size(), 6u);
  EXPECT_LT(place(found, "b"), place(found, "b\\c.txt"));
  EXPECT_LT(place(found, "b\\deep"), place(found, "b\\deep\\D.TXT"));
  EXPECT_LT(place(found, "empty"), found.size());
  EXPECT_EQ(xp_traversal_next(walk.get()), nullptr) << "the end stays the end";
  EXPECT_EQ(faults.open_handles(), 0);
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  EXPECT_EQ(rest(), found) << "a rewind starts over";
}

TEST_F(FolderWalk, AnEmptyFolderGivesNothing) {
  const xp_ref empty(xp_traversal_new(folder.at("empty").get()));
  EXPECT_EQ(xp_traversal_next(empty.get()), nullptr);
}

TEST_F(FolderWalk, FieldsNarrowWhatIsGiven) {
  walk->max_depth = 1;
  EXPECT_EQ(sorted_rest(), (names{"a.txt", "b", "empty"}));
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  walk->kinds = XP_FOLDER_GIVES_FILES;
  EXPECT_EQ(sorted_rest(), (names{"a.txt", "b\\c.txt", "b\\deep\\D.TXT"}));
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  walk->kinds = XP_FOLDER_GIVES_FOLDERS;
  EXPECT_EQ(sorted_rest(), (names{"b", "b\\deep", "empty"}));
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  walk->folders_last = 1;
  const names found = rest();
  EXPECT_EQ(found.size(), 6u);
  EXPECT_GT(place(found, "b"), place(found, "b\\deep"));
  EXPECT_GT(place(found, "b\\deep"), place(found, "b\\deep\\D.TXT"));
}

TEST_F(FolderWalk, APatternChoosesNamesAndStillEntersFolders) {
  set_pattern(u"*.txt");
  EXPECT_EQ(sorted_rest(), (names{"a.txt", "b\\c.txt", "b\\deep\\D.TXT"}));
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  EXPECT_EQ(walk->pattern, nullptr) << "a rewind drops it";
  set_pattern(u"e*");
  EXPECT_EQ(sorted_rest(), (names{"empty"}));
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  set_pattern(u"*.txt");
  walk->max_depth = 1;
  EXPECT_EQ(sorted_rest(), (names{"a.txt"})) << "the system looks for the pattern itself";
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  set_pattern(u"d*");
  walk->folders_last = 1;
  EXPECT_EQ(sorted_rest(), (names{"b\\deep", "b\\deep\\D.TXT"}));
}

TEST_F(FolderWalk, AFolderThatCanNotBeReadIsPassedOver) {
  faults.fail(FILE_FIND_FIRST, 2, XP_FILE_DENIED);  // the first folder that is entered
  const names found = sorted_rest();
  EXPECT_GE(found.size(), 3u);
  for (const char* top : {"a.txt", "b", "empty"})
    EXPECT_LT(place(found, top), found.size()) << top;
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  faults.fail(FILE_FIND_FIRST, 1, XP_FILE_DENIED);
  EXPECT_EQ(rest(), names());
  EXPECT_EQ(faults.open_handles(), 0);
}

TEST_F(FolderWalk, AnUnfinishedWalkLeavesNoSearchOpen) {
  for (int i = 0; i < 4; i++)
    xp_object_release(xp_traversal_next(walk.get()));
  EXPECT_GT(faults.open_handles(), 0);
  walk.reset();
  EXPECT_EQ(faults.open_handles(), 0);
}

TEST_F(FolderWalk, TheProtocolAnswersRewindAndNextAlone) {
  const auto answer = [&](uint32_t operation) {
    return xp_object_control(walk.get(), XP_CTL_TRAV, operation, nullptr);
  };
  EXPECT_NE(answer(XP_TRAV_REWIND), 0u);
  EXPECT_NE(answer(XP_TRAV_NEXT), 0u);
  for (uint32_t operation : {2u, 3u, 5u, 6u})
    EXPECT_EQ(answer(operation), 0u) << operation;
  EXPECT_EQ(xp_object_control(walk.get(), XP_CTL_SUPPORTS, XP_TRAV, nullptr), 0u);
  EXPECT_EQ(xp_folder_rewind(nullptr), XP_E_PARAMETER);
  EXPECT_EQ(xp_folder_next(nullptr), nullptr);
  EXPECT_EQ(xp_folder_traversal_new(nullptr), nullptr);
  const names found = rest();
  xp_trav_function<xp_trav_rewind>(walk.get(), XP_TRAV_REWIND)(walk.get());
  EXPECT_EQ(rest(), found);
}

namespace {

// A folder that holds one file and one link back to itself, and so on for ever.
int32_t circle_searches;

xp_file_status circle_first(const char16_t*, xp_find_entry* entry, xp_find_handle* out) {
  circle_searches++;
  *entry = {.attributes = XP_FIND_FOLDER | XP_FIND_REPARSE, .name = u"loop", .short_name = {}};
  *out = 1 + circle_searches * 2;
  return XP_FILE_OK;
}

xp_file_status circle_next(xp_find_handle, xp_find_entry*) {
  return XP_FILE_END;
}

}  // namespace

TEST_F(FolderWalk, LinksInACircleEnd) {
  fake_platform fake;
  fake.files.find_first = circle_first;
  fake.files.find_next = circle_next;
  fake.files.find_close = [](xp_find_handle) {};
  circle_searches = 0;
  EXPECT_EQ(rest(), (names{"loop", "loop\\loop"}));
  EXPECT_EQ(circle_searches, 2);
  ASSERT_EQ(xp_folder_rewind(walk.get()), XP_OK);
  walk->reparse = 0;
  EXPECT_EQ(rest(), names());
}

TEST_F(FolderWalk, EveryAllocationMayFail) {
  sweep_allocations(
      [&](heap_watch& watch) {
        const xp_ref other(xp_folder_traversal_new(folder.path.get()));
        if (!other) {
          EXPECT_TRUE(watch.failed());
          return;
        }
        int32_t given = 0;
        while (const xp_ref item{xp_traversal_next(other.get())})
          given++;
        EXPECT_TRUE(given == 6 || watch.failed());
        EXPECT_LE(given, 6);
      },
      500);
}

TEST(NameMatch, StarsAndQuestionMarks) {
  const struct {
    const char16_t* name;
    const char16_t* pattern;
    bool fits;
  } rows[] = {
      {u"a.txt", nullptr, true},
      {u"a.txt", u"*", true},
      {u"A.TXT", u"a.txt", true},
      {u"a.txt", u"*.txt", true},
      {u"a.txt", u"*.t?t", true},
      {u"a.txt", u"a.txt?", true},
      {u"a.txt", u"a.txt??*", true},
      {u"a.txt", u"b*", false},
      {u"a.txt", u"a.tx", false},
      {u"aXbXc", u"*X*c", true},
      {u"aXbXc", u"*X?c", false},
      {u"", u"", true},
      {u"", u"*?", true},
      {u"", u"a", false},
      {u"a", u"", false},
      {u"a*b", u"a*b", true},
      {u"\u00C9", u"\u00E9", false},
      {u"abab", u"*ab", true},
  };
  for (const auto& row : rows)
    EXPECT_EQ(xp_name_match(row.name, row.pattern), row.fits)
        << &row - rows << ": row of the table";
}
