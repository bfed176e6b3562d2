#include "platform/host/source.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <initializer_list>
#include <string>

namespace {

struct scratch_file {
  char path[64] = "/tmp/ruvo-source-XXXXXX";
  int descriptor = mkstemp(path);
  ~scratch_file() {
    close(descriptor);
    unlink(path);
  }
};

TEST(Source, FilesAndMemoryGiveTheSameBytesAndKeepTheirEnds) {
  const std::string content = "0123456789";
  const scratch_file scratch;
  ASSERT_EQ(write(scratch.descriptor, content.data(), content.size()), 10);
  host_source file;
  ASSERT_TRUE(host_source_open(scratch.path, &file));
  const host_source memory = host_source_of(content.data(), content.size());
  const struct {
    uint64_t offset;
    size_t size;
    const char* expected;
    const char* why;
  } rows[] = {
      {0, 10, "0123456789", "all"},
      {7, 3, "789", "the end"},
      {10, 0, "", "nothing, at the end"},
      {7, 4, nullptr, "one byte too many"},
      {11, 0, nullptr, "behind the end"},
      {UINT64_MAX, 2, nullptr, "offset and size together overflow"},
  };
  for (const auto& row : rows) {
    for (const host_source* source : std::initializer_list<const host_source*>{&file, &memory}) {
      char out[16] = "";
      ASSERT_EQ(host_source_read(source, row.offset, out, row.size), row.expected != nullptr)
          << row.why;
      if (row.expected) {
        EXPECT_EQ(std::string(out, row.size), row.expected) << row.why;
      }
    }
  }
  host_source_close(&file);
}

TEST(Source, AFileThatBecameShorterIsAFailedRead) {
  const scratch_file scratch;
  ASSERT_EQ(ftruncate(scratch.descriptor, 8192), 0);
  host_source file;
  char out[8192];
  ASSERT_TRUE(host_source_open(scratch.path, &file));
  EXPECT_TRUE(host_source_read(&file, 0, out, sizeof out));
  ASSERT_EQ(ftruncate(scratch.descriptor, 4096), 0);
  EXPECT_FALSE(host_source_read(&file, 0, out, sizeof out));
  EXPECT_TRUE(host_source_read(&file, 0, out, 4096));
  host_source_close(&file);
}

TEST(Source, WhatIsNoRegularFileIsRefusedWithoutWaiting) {
  scratch_file scratch;
  host_source file;
  EXPECT_FALSE(host_source_open("/tmp", &file));
  EXPECT_FALSE(host_source_open("/tmp/ruvo-source-none", &file));
  unlink(scratch.path);
  ASSERT_EQ(mkfifo(scratch.path, 0600), 0);
  EXPECT_FALSE(host_source_open(scratch.path, &file));
}

}  // namespace
