#include "stream/xp_file_stream.h"

#include <string>

#include "paths/xp_file.h"
#include "tests/support/fakes.h"
#include "tests/support/fault_files.h"
#include "tests/support/temp_folder.h"

namespace {

struct FileStream : testing::Test {
  FileStream() : path(folder.write("Settings.plist", "0123456789")) {}
  // The bytes of one read, or the result in text.
  std::string read(int32_t length) {
    char buffer[64];
    const int32_t got = xp_stream_read(stream.get(), buffer, length);
    return got < 0 ? std::to_string(got) : std::string(buffer, static_cast<size_t>(got));
  }
  int64_t tell() {
    int64_t position = -1;
    EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_TELL, &position), 0);
    return position;
  }
  int32_t seek(int64_t position) {
    return xp_stream_option(stream.get(), STREAM_OPTION_SEEK, &position);
  }
  int64_t size() {
    int64_t bytes = -1;
    EXPECT_EQ(xp_stream_size(stream.get(), &bytes), 0);
    return bytes;
  }
  std::string rendered(uint32_t limit) {
    std::string text(limit, '#');
    text.resize(static_cast<size_t>(stream->render(stream.get(), text.data(), limit)));
    return text;
  }

  temp_folder folder;
  xp_ref<xp_path> path;
  fault_files faults;
  xp_ref<xp_stream> stream{xp_file_stream_new(path.get())};
};

}  // namespace

TEST_F(FileStream, OpeningNeverMakesAFile) {
  const auto absent = folder.at("absent");
  const xp_ref none(xp_file_stream_new(absent.get()));
  EXPECT_EQ(xp_stream_open(none.get(), STREAM_MODE_WRITE | STREAM_MODE_TRUNCATE), XP_E_NOT_FOUND);
  EXPECT_EQ(xp_stream_open(none.get(), 0), XP_E_NOT_FOUND);
  EXPECT_EQ(xp_path_is_file(absent.get()), XP_E_NOT_FOUND);
  ASSERT_EQ(xp_file_create(absent.get()), XP_OK);
  EXPECT_EQ(xp_stream_open(none.get(), 0), XP_OK) << "a later try may succeed";
  EXPECT_EQ(xp_file_stream_new(nullptr), nullptr);
}

TEST_F(FileStream, ReadsCountAndEndInTheEndOfFile) {
  ASSERT_EQ(xp_stream_open(stream.get(), 0), 0);
  EXPECT_EQ(read(4), "0123");
  EXPECT_EQ(read(20), "456789");
  EXPECT_EQ(tell(), 10);
  EXPECT_EQ(read(20), "-39");
  EXPECT_EQ(xp_stream_rewind(stream.get()), 0);
  EXPECT_EQ(tell(), 0);
  EXPECT_EQ(read(2), "01");
  EXPECT_EQ(xp_stream_read(stream.get(), nullptr, 3), 3) << "goes forward";
  EXPECT_EQ(read(2), "56");
  EXPECT_EQ(xp_stream_read(stream.get(), nullptr, 100), 100) << "past the end, too";
  EXPECT_EQ(tell(), 107);
  EXPECT_EQ(seek(8), 0);
  EXPECT_EQ(read(20), "89");
  char byte;
  EXPECT_EQ(xp_stream_read(stream.get(), &byte, -1), XP_E_PARAMETER);
}

TEST_F(FileStream, WritesGoToTheFileAndLeaveThePositionAlone) {
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_stream_write(stream.get(), "abc", 3), 3);
  EXPECT_EQ(tell(), 0);
  EXPECT_EQ(size(), 10);
  EXPECT_EQ(read(2), "34");
  xp_stream_close(stream.get());
  EXPECT_EQ(content_of(path.get()), "abc3456789");
}

TEST_F(FileStream, ModesCutOrAppend) {
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE | STREAM_MODE_APPEND), 0);
  EXPECT_EQ(tell(), 10);
  EXPECT_EQ(xp_stream_write(stream.get(), "!", 1), 1);
  EXPECT_EQ(size(), 11);
  xp_stream_close(stream.get());
  EXPECT_EQ(content_of(path.get()), "0123456789!");
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_APPEND | STREAM_MODE_TRUNCATE), 0);
  EXPECT_EQ(size(), 11) << "without writing neither counts";
  xp_stream_close(stream.get());
  const uint32_t all = STREAM_MODE_WRITE | STREAM_MODE_APPEND | STREAM_MODE_TRUNCATE;
  ASSERT_EQ(xp_stream_open(stream.get(), all), 0);
  EXPECT_EQ(size(), 0) << "cutting wins";
  EXPECT_EQ(xp_stream_write(stream.get(), "new", 3), 3);
  xp_stream_close(stream.get());
  EXPECT_EQ(content_of(path.get()), "new");
}

TEST_F(FileStream, AFileThatCanNotBePreparedIsNotOpen) {
  const int32_t before = faults.open_handles();
  faults.fail(FILE_TRUNCATE, 1, XP_FILE_DENIED);
  EXPECT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE | STREAM_MODE_TRUNCATE), XP_E_POSITION);
  faults.fail(FILE_SEEK, 1, XP_FILE_FAILED);
  EXPECT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE | STREAM_MODE_APPEND), XP_E_POSITION);
  EXPECT_EQ(stream->open_count, 0);
  EXPECT_EQ(faults.open_handles(), before);
}

TEST_F(FileStream, FailuresOfTheSystemHaveTheirCodes) {
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  faults.fail(FILE_READ, 1, XP_FILE_FAILED);
  EXPECT_EQ(read(4), "-36");
  faults.fail(FILE_READ, 1, XP_FILE_END);
  EXPECT_EQ(read(4), "-39");
  faults.fail(FILE_WRITE, 1, XP_FILE_FULL);
  EXPECT_EQ(xp_stream_write(stream.get(), "abc", 3), XP_E_IO);
  faults.shorten_writes(2);
  EXPECT_EQ(xp_stream_write(stream.get(), "abc", 3), XP_E_IO) << "less than all is a failure";
  faults.fail(FILE_SEEK, 1, XP_FILE_FAILED, true);
  EXPECT_EQ(seek(3), XP_E_POSITION);
  EXPECT_EQ(tell(), 3) << "where it should be";
  EXPECT_EQ(xp_stream_rewind(stream.get()), XP_E_POSITION);
  EXPECT_EQ(xp_stream_read(stream.get(), nullptr, 4), XP_E_POSITION);
  int64_t bytes = 5;
  EXPECT_EQ(xp_stream_size(stream.get(), &bytes), XP_E_POSITION);
  EXPECT_EQ(bytes, 0);
  EXPECT_EQ(xp_stream_size(stream.get(), nullptr), XP_E_PARAMETER);
}

TEST_F(FileStream, RenderGivesTheContentAndLeavesNoTrace) {
  const int32_t before = faults.open_handles();
  EXPECT_EQ(stream->render(stream.get(), nullptr, 0), 10);
  EXPECT_EQ(rendered(4), "0123");
  EXPECT_EQ(rendered(40), "0123456789");
  EXPECT_EQ(stream->open_count, 0);
  EXPECT_EQ(faults.open_handles(), before);
  ASSERT_EQ(xp_stream_open(stream.get(), 0), 0);
  EXPECT_EQ(read(3), "012");
  faults.shorten_reads(4);
  EXPECT_EQ(rendered(40), "0123456789");
  EXPECT_EQ(stream->open_count, -1);
  EXPECT_EQ(tell(), 3);
  EXPECT_EQ(read(3), "345") << "goes on where it was";
  faults.fail(FILE_SEEK, 3, XP_FILE_FAILED);
  EXPECT_EQ(rendered(40), "") << "the place is lost";
  xp_stream_close(stream.get());
  faults.fail(FILE_OPEN, 1, XP_FILE_DENIED);
  EXPECT_EQ(rendered(40), "");
}

TEST_F(FileStream, RenderCapsTheLengthOfAHugeFile) {
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  const auto* file = static_cast<xp_file_stream*>(stream.get());
  ASSERT_EQ(xp_file_truncate(file->handle, int64_t{3} << 30), XP_OK);
  EXPECT_EQ(stream->render(stream.get(), nullptr, 0), INT32_MAX);
  EXPECT_EQ(size(), int64_t{3} << 30);
  EXPECT_EQ(seek((int64_t{3} << 30) - 1), 0);
  EXPECT_EQ(read(5), std::string(1, 0));
  EXPECT_EQ(tell(), int64_t{3} << 30);
}

TEST_F(FileStream, OptionsTellAboutTheFile) {
  char* name = nullptr;
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_NAME, &name), 14);
  EXPECT_STREQ(name, "Settings.plist");
  xp_heap_free(name);
  {
    heap_watch watch;
    EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_NAME, nullptr), 14);
    EXPECT_EQ(watch.asked(), 0);
    watch.fail_after(0);
    EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_NAME, &name), 14);
    EXPECT_EQ(name, nullptr);
  }
  int32_t flags = 9;
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_FLAGS, &flags), 0);
  EXPECT_EQ(flags, 0);
  xp_object* object = nullptr;
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_FILE_OBJECT, &object), 0);
  EXPECT_EQ(xp_ref(object).get(), path.get());
  for (int32_t selector : {1, 2, 3, static_cast<int32_t>(STREAM_OPTION_FILE_OBJECT)})
    EXPECT_EQ(xp_stream_option(stream.get(), selector, nullptr), 0) << selector;
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_WIDTH, nullptr), XP_E_STREAM);
  EXPECT_EQ(seek(3), XP_E_POSITION) << "a closed stream has nothing to move";
  EXPECT_TRUE(xp_object_supports(stream.get(), XP_STREAM_PROTOCOL));
}

TEST_F(FileStream, RollFollowsTheNameToANewFile) {
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_ROLL, nullptr), 0);
  EXPECT_EQ(faults.calls(FILE_OPEN), 0) << "nothing to do for a closed stream";
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_ROLL, nullptr), 0);
  EXPECT_EQ(tell(), 10) << "at the end";
  EXPECT_EQ(xp_stream_write(stream.get(), "+", 1), 1);
  faults.fail(FILE_OPEN, 2, XP_FILE_SHARING);  // the first looks whether the file is there
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_ROLL, nullptr), XP_E_NOT_FOUND);
  EXPECT_EQ(xp_stream_write(stream.get(), "+", 1), XP_E_IO);
  EXPECT_EQ(read(1), "-36");
  EXPECT_EQ(xp_stream_rewind(stream.get()), XP_E_POSITION);
  xp_file_delete(path.get());
  uint32_t flags = XP_ROLL_EXISTING;
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_ROLL, &flags), XP_E_NOT_FOUND);
  flags = 0;
  EXPECT_EQ(xp_stream_option(stream.get(), STREAM_OPTION_ROLL, &flags), 0);
  EXPECT_EQ(size(), 0);
  EXPECT_EQ(xp_stream_write(stream.get(), "new", 3), 3);
  xp_stream_close(stream.get());
  EXPECT_EQ(content_of(path.get()), "new");
}

TEST_F(FileStream, AForgottenCloseLosesNoHandle) {
  const int32_t before = faults.open_handles();
  ASSERT_EQ(xp_stream_open(stream.get(), 0), 0);
  ASSERT_EQ(xp_stream_open(stream.get(), 0), 0);
  stream.reset();
  EXPECT_EQ(faults.open_handles(), before);
}

TEST_F(FileStream, OthersMayReadWhileItWritesButNotWrite) {
  const xp_ref reader(xp_file_stream_new(path.get()));
  const xp_ref writer(xp_file_stream_new(path.get()));
  ASSERT_EQ(xp_stream_open(stream.get(), STREAM_MODE_WRITE), 0);
  EXPECT_EQ(xp_stream_open(writer.get(), STREAM_MODE_WRITE), XP_E_NOT_FOUND);
  EXPECT_EQ(xp_stream_open(reader.get(), 0), 0);
  xp_stream_close(stream.get());
  EXPECT_EQ(xp_stream_open(writer.get(), STREAM_MODE_WRITE), 0) << "a reader lets others write";
}

TEST_F(FileStream, EveryAllocationMayFail) {
  sweep_allocations(
      [&](heap_watch& watch) {
        const xp_ref file(xp_file_stream_new(path.get()));
        if (!file) return;
        const int32_t opened = xp_stream_open(file.get(), STREAM_MODE_WRITE);
        EXPECT_EQ(opened, watch.failed() ? XP_E_MEMORY : 0);
        if (opened != 0) return;
        const int32_t rolled = xp_stream_option(file.get(), STREAM_OPTION_ROLL, nullptr);
        const bool still_open = rolled == 0;
        EXPECT_TRUE(still_open || (rolled == XP_E_MEMORY && watch.failed()));
        xp_stream_close(file.get());
      },
      50);
}
