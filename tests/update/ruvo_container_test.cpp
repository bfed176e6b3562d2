#include "update/ruvo_container.h"

#include <string>

#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "stream/xp_file_stream.h"
#include "tests/support/fakes.h"
#include "tests/support/fault_files.h"
#include "tests/support/memory_stream.h"
#include "tests/support/temp_folder.h"

namespace {

std::string little(uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; i++)
    bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}

struct trailer {
  uint32_t name_offset = 0;
  uint32_t name_length = 0;
  uint32_t offset0 = 0;
  uint32_t size0 = 0;
  uint32_t offset1 = 0;
  uint32_t size1 = 0;
  uint32_t count = 2;
  std::string magic = "rvTP";

  std::string bytes() const {
    return little(name_offset) + little(name_length) + little(offset0) + little(size0) +
           little(offset1) + little(size1) + little(count) + magic;
  }
};

void put(std::string& bytes, size_t at, const std::string& value) {
  bytes.replace(at, value.size(), value);
}

// A PE file of 1000 bytes and a certificate table; the trailer stands right before the table.
std::string signed_pe(bool plus, uint32_t directories, uint32_t table_size,
                      const std::string& trailer_bytes) {
  std::string pe(1000, 'p');
  put(pe, 0, "MZ");
  put(pe, 60, little(128));
  put(pe, 128, std::string("PE\0\0", 4));
  put(pe, 128 + 24, plus ? std::string("\x0B\x02", 2) : std::string("\x0B\x01", 2));
  put(pe, 128 + (plus ? 0x84 : 0x74), little(directories));
  put(pe, 128 + (plus ? 0xA8 : 0x98), little(1000));
  put(pe, 128 + (plus ? 0xAC : 0x9C), little(table_size));
  put(pe, 1000 - 32, trailer_bytes);
  return pe + std::string(200, 'c');
}

int32_t trailer_of(const std::string& bytes, ruvo_container_entries* out = nullptr) {
  xp_ref stream(memory_stream_new(bytes));
  EXPECT_EQ(xp_stream_open(stream.get(), 0), 0);
  return ruvo_container_trailer(stream.get(), out);
}

}  // namespace

TEST(Container, TheTrailerEndsAtTheEndMark) {
  const std::string good = trailer{.count = 3}.bytes();
  EXPECT_EQ(trailer_of("some bytes" + good), 3);
  EXPECT_EQ(trailer_of(good), 3);  // 32 bytes are enough
  EXPECT_EQ(trailer_of(good.substr(1)), -1);
  EXPECT_EQ(trailer_of(""), -1);
  EXPECT_EQ(trailer_of(std::string(100, 'x')), 0);
  EXPECT_EQ(trailer_of(trailer{.magic = "rvTp"}.bytes()), 0);
  EXPECT_EQ(trailer_of(signed_pe(true, 5, 200, good)), 3);
  EXPECT_EQ(trailer_of(signed_pe(false, 16, 200, good)), 3);
  // Without a certificate table the end of the file is the end mark.
  EXPECT_EQ(trailer_of(signed_pe(true, 4, 200, good)), 0);
  EXPECT_EQ(trailer_of(signed_pe(true, 16, 0, good)), 0);
  EXPECT_EQ(trailer_of(signed_pe(true, 4, 200, "") + good), 3);
}

TEST(Container, LyingHeadersLeaveTheEndOfTheFile) {
  const std::string good = trailer{.count = 3}.bytes();
  std::string pe = signed_pe(true, 16, 200, "");
  put(pe, 60, little(0xFFFFFFF0));  // a negative offset of the PE header
  EXPECT_EQ(trailer_of(pe + good), 3);
  put(pe, 60, little(0x7FFFFFF0));
  EXPECT_EQ(trailer_of(pe + good), 3);
  std::string far_table = signed_pe(true, 16, 200, "") + good;
  put(far_table, 128 + 0xA8, little(0xFFFFFFFF));  // a certificate table behind the end
  EXPECT_EQ(trailer_of(far_table), -1);
  put(far_table, 128 + 0xA8, little(8));  // no room for a trailer before it
  EXPECT_EQ(trailer_of(far_table), -1);
  EXPECT_EQ(trailer_of("MZ" + good), 3);
}

TEST(Container, EntriesCarryANameButWithACountOfTwo) {
  ruvo_container_entries entries;
  const trailer full = {.name_offset = 1,
                        .name_length = 2,
                        .offset0 = 3,
                        .size0 = 4,
                        .offset1 = 5,
                        .size1 = 6,
                        .count = 3};
  EXPECT_EQ(trailer_of(full.bytes(), &entries), 3);
  EXPECT_EQ(entries.name_offset, 1u);
  EXPECT_EQ(entries.name_length, 2u);
  EXPECT_EQ(entries.offset1, 5u);
  EXPECT_EQ(entries.size1, 6u);
  trailer nameless = full;
  nameless.count = 2;
  EXPECT_EQ(trailer_of(nameless.bytes(), &entries), 2);
  EXPECT_EQ(entries.name_offset, 3u);
  EXPECT_EQ(entries.name_length, 0u);
  nameless.count = 0x80000000;
  EXPECT_LT(trailer_of(nameless.bytes()), 0);
}

TEST(Container, CopyOutTakesWhatTheIndexNames) {
  temp_folder folder;
  const std::string body = "0123456789";
  const std::string file =
      body + trailer{.offset0 = 2, .size0 = 3, .offset1 = 5, .size1 = 4, .count = 2}.bytes();
  struct {
    int32_t index;
    int32_t code;
    std::string content;
  } const rows[] = {
      {1, RUVO_CONTAINER_DONE, "5678"},
      {0, RUVO_CONTAINER_DONE, "234"},
      {-1, RUVO_CONTAINER_DONE, file},
      {2, RUVO_CONTAINER_BAD_INDEX, ""},
  };
  for (const auto& row : rows) {
    xp_ref stream(memory_stream_new(file));
    xp_ref output(folder.at("out.bin"));
    EXPECT_EQ(ruvo_container_copy_out(stream.get(), output.get(), row.index), row.code);
    EXPECT_EQ(stream->open_count, 0);
    EXPECT_EQ(content_of(output.get()), row.content.empty() ? "(none)" : row.content);
    xp_file_delete(output.get());
  }
}

TEST(Container, EachRefusalHasItsCodeAndLeavesNothing) {
  temp_folder folder;
  struct {
    std::string bytes;
    int32_t index;
    int32_t code;
  } const rows[] = {
      {"", -1, RUVO_CONTAINER_NO_PAYLOAD},
      {"short", 1, RUVO_CONTAINER_NO_TRAILER},
      {std::string(64, 'x'), 1, RUVO_CONTAINER_NO_PAYLOAD},  // no container: a count of 0
      {trailer{.offset0 = 1, .size0 = 1, .count = 1}.bytes(), 1, RUVO_CONTAINER_NO_PAYLOAD},
      {trailer{.offset1 = 0, .size1 = 1}.bytes(), 1, RUVO_CONTAINER_NO_PAYLOAD},
      {trailer{.offset1 = 1, .size1 = 0}.bytes(), 1, RUVO_CONTAINER_NO_PAYLOAD},
      {trailer{.offset1 = 1, .size1 = 1000}.bytes(), 1, RUVO_CONTAINER_COPY},  // beyond the end
      {trailer{.offset1 = 0xFFFFFFFF, .size1 = 0xFFFFFFFF}.bytes(), 1, RUVO_CONTAINER_COPY},
  };
  for (const auto& row : rows) {
    xp_ref stream(memory_stream_new(row.bytes));
    xp_ref output(folder.at("out.bin"));
    EXPECT_EQ(ruvo_container_copy_out(stream.get(), output.get(), row.index), row.code);
    EXPECT_EQ(xp_path_is_file(output.get()), XP_E_NOT_FOUND) << row.code;
  }
  xp_ref output(folder.at("out.bin"));
  EXPECT_EQ(ruvo_container_copy_out(nullptr, output.get(), 1), RUVO_CONTAINER_NO_INPUT);
  xp_ref stream(memory_stream_new("content"));
  xp_ref nowhere(folder.at("no\\such\\folder.bin"));
  EXPECT_EQ(ruvo_container_copy_out(stream.get(), nowhere.get(), -1), RUVO_CONTAINER_NO_OUTPUT);
}

TEST(Container, AFailureInTheMiddleOfTheCopyLeavesNothing) {
  temp_folder folder;
  const std::string content(200000, 'x');
  xp_ref output(folder.at("out.bin"));
  {
    xp_ref stream(memory_stream_new(content));
    stream->fail_read_at = 100000;
    EXPECT_EQ(ruvo_container_copy_out(stream.get(), output.get(), -1), RUVO_CONTAINER_COPY);
    EXPECT_EQ(xp_path_is_file(output.get()), XP_E_NOT_FOUND);
  }
  {
    fault_files faults;
    faults.fail(FILE_WRITE, 2, XP_FILE_FULL);
    xp_ref stream(memory_stream_new(content));
    EXPECT_EQ(ruvo_container_copy_out(stream.get(), output.get(), -1), RUVO_CONTAINER_COPY);
    EXPECT_EQ(xp_path_is_file(output.get()), XP_E_NOT_FOUND);
  }
}

TEST(Container, AFileIsRewrittenWithItsOwnBytes) {
  temp_folder folder;
  const std::string content = std::string(150000, 'a') + "end";
  folder.write("own.msi", content);
  xp_ref path(folder.at("own.msi"));
  xp_ref stream(xp_file_stream_new(path.get()));
  EXPECT_EQ(ruvo_container_copy_out(stream.get(), path.get(), -1), RUVO_CONTAINER_DONE);
  EXPECT_EQ(content_of(folder.at("own.msi").get()), content);
  struct {
    file_slot slot;
    int32_t nth;
    int32_t code;
  } const rows[] = {{FILE_WRITE, 2, RUVO_CONTAINER_COPY},
                    {FILE_READ, 2, RUVO_CONTAINER_COPY},
                    {FILE_OPEN, 3, RUVO_CONTAINER_NO_OUTPUT}};
  for (const auto& row : rows) {
    {
      fault_files faults;
      faults.fail(row.slot, row.nth, XP_FILE_DENIED);
      EXPECT_EQ(ruvo_container_copy_out(stream.get(), folder.at("OWN.msi").get(), -1), row.code);
    }
    EXPECT_EQ(content_of(folder.at("own.msi").get()), content) << "a given file stays";
  }
}
