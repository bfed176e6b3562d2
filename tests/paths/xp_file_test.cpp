#include "paths/xp_file.h"

#include <string>

#include "tests/support/fakes.h"
#include "tests/support/fault_files.h"
#include "tests/support/temp_folder.h"

namespace {

xp_file_handle open_file(xp_path* path) {
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  xp_file_handle file = 0;
  EXPECT_EQ(xp_platform->files->open(wide.get(), XP_FILE_READ | XP_FILE_WRITE, XP_FILE_SHARE_READ,
                                     XP_FILE_OPEN_EXISTING, &file),
            XP_FILE_OK);
  return file;
}

}  // namespace

TEST(File, WhatIsAtAPathIsToldByTheResult) {
  const temp_folder folder;
  const auto file = folder.write("a.txt", "x");
  EXPECT_EQ(xp_path_is_file(file.get()), XP_OK);
  EXPECT_EQ(xp_path_is_folder(file.get()), XP_E_EXISTS);
  EXPECT_EQ(xp_path_is_file(folder.path.get()), XP_E_EXISTS);
  EXPECT_EQ(xp_path_is_folder(folder.path.get()), XP_OK);
  for (const char* absent : {"absent", "absent\\below", "a.txt\\below", "a.*", "?.txt"}) {
    EXPECT_EQ(xp_path_is_file(folder.at(absent).get()), XP_E_NOT_FOUND) << absent;
    EXPECT_EQ(xp_path_is_folder(folder.at(absent).get()), XP_E_NOT_FOUND) << absent;
  }
  EXPECT_EQ(xp_path_is_file(nullptr), XP_E_MEMORY);
  EXPECT_EQ(xp_path_is_folder(nullptr), XP_E_MEMORY);
}

TEST(File, AFileThatMayNotBeOpenedIsNotFound) {
  const temp_folder folder;
  const auto file = folder.write("a.txt", "x");
  fault_files faults;
  faults.fail(FILE_OPEN, 1, XP_FILE_DENIED, true);
  EXPECT_EQ(xp_path_is_file(file.get()), XP_E_NOT_FOUND);
  EXPECT_EQ(xp_file_create(file.get()), XP_E_NOT_FOUND);
  EXPECT_EQ(faults.open_handles(), 0);
}

TEST(File, CreateMakesAnEmptyFileAndLeavesAnExistingOneAlone) {
  const temp_folder folder;
  const auto file = folder.at("new.txt");
  EXPECT_EQ(xp_file_create(file.get()), XP_OK);
  EXPECT_EQ(content_of(file.get()), "");
  folder.write("new.txt", "content");
  EXPECT_EQ(xp_file_create(file.get()), XP_E_EXISTS);
  EXPECT_EQ(content_of(file.get()), "content");
  EXPECT_EQ(xp_file_create(folder.at("absent\\x").get()), XP_E_NOT_FOUND);
  EXPECT_EQ(xp_file_create(folder.path.get()), XP_E_NOT_FOUND);
  xp_file_delete(file.get());
  EXPECT_EQ(xp_path_is_file(file.get()), XP_E_NOT_FOUND);
  xp_file_delete(file.get());
  xp_file_delete(nullptr);
}

TEST(File, MakeFoldersMakesWhatIsMissing) {
  const temp_folder folder;
  folder.make("a");
  const auto deep = folder.at("a\\b\\c");
  fault_files faults;
  EXPECT_EQ(xp_path_make_folders(deep.get()), XP_OK);
  EXPECT_EQ(faults.calls(FILE_MAKE_FOLDER), 2);
  EXPECT_EQ(xp_path_make_folders(deep.get()), XP_OK);
  EXPECT_EQ(faults.calls(FILE_MAKE_FOLDER), 2);
  EXPECT_EQ(xp_path_is_folder(deep.get()), XP_OK);
  EXPECT_EQ(faults.open_handles(), 0);
  EXPECT_EQ(xp_path_make_folders(nullptr), XP_E_MEMORY);
}

TEST(File, MakeFoldersStopsAtAFileAndAtAFailure) {
  const temp_folder folder;
  const auto file = folder.write("file", "x");
  EXPECT_EQ(xp_path_make_folders(folder.at("file\\c").get()), XP_E_EXISTS);
  EXPECT_EQ(content_of(file.get()), "x");
  fault_files faults;
  faults.fail(FILE_MAKE_FOLDER, 2, XP_FILE_DENIED);
  EXPECT_EQ(xp_path_make_folders(folder.at("p\\q\\r").get()), XP_E_STREAM);
  EXPECT_EQ(xp_path_is_folder(folder.at("p").get()), XP_OK);
  EXPECT_EQ(xp_path_is_folder(folder.at("p\\q").get()), XP_E_NOT_FOUND);
  // Another process makes the folder between the look and the making.
  folder.make("raced");
  const int32_t before = faults.calls(FILE_FIND_FIRST);
  EXPECT_EQ(xp_path_make_folders(folder.at("raced").get()), XP_OK);
  const int32_t looks = faults.calls(FILE_FIND_FIRST) - before;
  faults.fail(FILE_FIND_FIRST, looks, XP_FILE_NOT_FOUND);
  EXPECT_EQ(xp_path_make_folders(folder.at("raced").get()), XP_OK);
}

TEST(File, RootsAreNeitherLookedAtNorMade) {
  fault_files faults;
  faults.fail(FILE_FIND_FIRST, 1, XP_FILE_NOT_FOUND, true);
  faults.fail(FILE_MAKE_FOLDER, 1, XP_FILE_DENIED, true);
  const struct {
    const char* path;
    const char* first;
  } rows[] = {{"C:\\a\\b", "C:\\a"},
              {"\\a\\b", "\\a"},
              {"\\\\server\\share\\a\\b", "\\\\server\\share\\a"},
              {"\\\\?\\C:\\a\\b", "\\\\?\\C:\\a"},
              {"\\\\?\\UNC\\server\\share\\a", "\\\\?\\UNC\\server\\share\\a"}};
  for (const auto& row : rows) {
    const size_t before = faults.names().size();
    const xp_ref path(xp_path_new(nullptr, row.path, -1));
    EXPECT_EQ(xp_path_make_folders(path.get()), XP_E_STREAM);
    EXPECT_EQ(faults.names()[before], row.first);
  }
  const xp_ref root(xp_path_new(nullptr, "C:\\", -1));
  EXPECT_EQ(xp_path_make_folders(root.get()), XP_OK);
}

TEST(File, TemporaryNamesAreFreeAndDiffer) {
  const xp_ref first(xp_path_temp_file());
  EXPECT_EQ(xp_path_is_file(first.get()), XP_E_NOT_FOUND);
  EXPECT_EQ(xp_file_create(first.get()), XP_OK);
  const xp_ref second(xp_path_temp_file());
  EXPECT_NE(xp_object_compare(first.get(), second.get()), 0);
  xp_file_delete(first.get());
  fault_files faults;
  faults.fail(FILE_TEMP_NAME, 1, XP_FILE_FULL);
  EXPECT_EQ(xp_path_temp_file(), nullptr);
  faults.fail(FILE_TEMP_FOLDER, 1, XP_FILE_FAILED);
  EXPECT_EQ(xp_path_temp_file(), nullptr);
  faults.fail(FILE_REMOVE, 1, XP_FILE_DENIED);
  const xp_ref kept(xp_path_temp_file());
  EXPECT_EQ(xp_path_is_file(kept.get()), XP_OK) << "a name all the same";
  xp_file_delete(kept.get());
}

TEST(File, SizeAndTruncateWorkBeyondFourGigabytesAndKeepThePosition) {
  const temp_folder folder;
  const auto path = folder.write("big", "0123456789");
  const xp_file_handle file = open_file(path.get());
  const int64_t far = (int64_t{5} << 30) + 7;
  int64_t size = -1;
  int64_t place = 0;
  ASSERT_EQ(xp_file_truncate(file, far), XP_OK);
  ASSERT_EQ(xp_platform->files->seek(file, far - 3, XP_FILE_FROM_START, nullptr), XP_FILE_OK);
  EXPECT_EQ(xp_file_size(file, &size), XP_OK);
  EXPECT_EQ(size, far);
  EXPECT_EQ(xp_platform->files->seek(file, 0, XP_FILE_FROM_HERE, &place), XP_FILE_OK);
  EXPECT_EQ(place, far - 3);
  EXPECT_EQ(xp_file_truncate(file, 4), XP_OK);
  EXPECT_EQ(xp_file_size(file, &size), XP_OK);
  EXPECT_EQ(size, 4);
  EXPECT_EQ(xp_file_truncate(file, -1), XP_E_POSITION);
  {
    fault_files faults;
    for (int32_t nth : {1, 2, 3}) {
      faults.fail(FILE_SEEK, nth, XP_FILE_FAILED);
      EXPECT_EQ(xp_file_size(file, &size), XP_E_POSITION) << nth;
      EXPECT_EQ(size, 0);
    }
    faults.fail(FILE_TRUNCATE, 1, XP_FILE_DENIED);
    EXPECT_EQ(xp_file_truncate(file, 1), XP_E_POSITION);
  }
  xp_platform->files->close(file);
}

TEST(FileMemory, EveryAllocationMayFail) {
  const temp_folder folder;
  const auto file = folder.at("a");
  const auto below = folder.at("b\\c");
  sweep_allocations(
      [&](heap_watch& watch) {
        const int32_t results[] = {xp_file_create(file.get()), xp_path_is_file(file.get()),
                                   xp_path_is_folder(file.get()),
                                   xp_path_make_folders(below.get())};
        int32_t refused = 0;
        for (int32_t result : results)
          refused += result == XP_E_MEMORY;
        const xp_ref temp(xp_path_temp_file());
        refused += !temp;
        EXPECT_EQ(refused, watch.failed() ? 1 : 0);
        xp_file_delete(file.get());
      },
      50);
}

TEST(FileMemory, DeletingTakesNone) {
  const temp_folder folder;
  const auto file = folder.at("a");
  const auto far = folder.at((std::string(150, 'a') + "\\" + std::string(150, 'b') + "\\" +
                              std::string(150, 'c') + "\\" + std::string(150, 'd'))
                                 .c_str());
  ASSERT_EQ(xp_file_create(file.get()), XP_OK);
  fault_files faults;
  {
    heap_watch watch;
    watch.fail_after(0, true);
    xp_file_delete(file.get());
    xp_file_delete(far.get());
    EXPECT_EQ(faults.calls(FILE_REMOVE), 1) << "a path of unusual length does take memory";
  }
  EXPECT_EQ(xp_path_is_file(file.get()), XP_E_NOT_FOUND);
  xp_file_delete(far.get());
  xp_file_delete(nullptr);
  EXPECT_EQ(faults.calls(FILE_REMOVE), 2);
}
