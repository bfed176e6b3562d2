#include "codec/xp_gzip.h"

#include <algorithm>
#include <string>

#include "codec/xp_deflate.h"
#include "object/xp_ref.h"
#include "stream/xp_stream.h"
#include "tests/support/fakes.h"
#include "tests/support/memory_stream.h"

namespace {

std::string deflated(const std::string& plain) {
  const xp_ref<xp_filter> filter(xp_filter_new(0, -1));
  std::string from = plain;
  std::string packed;
  xp_filter_span input = {reinterpret_cast<uint8_t*>(from.data()),
                          static_cast<uint32_t>(from.size())};
  int32_t step;
  do {
    xp_filter_span output = {};
    step = xp_filter_step(filter.get(), XP_FILTER_FINISH, &input, &output);
    EXPECT_GE(step, 0);
    if (output.bytes) packed.append(reinterpret_cast<char*>(output.bytes), output.count);
    xp_heap_free(output.bytes);
  } while (step > 0);
  EXPECT_EQ(xp_filter_finished(filter.get()), 0) << "a compressor never says so";
  return packed;
}

std::string little_endian(uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; i++)
    bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}

// A gzip member with the given flag byte and header fields.
std::string member(const std::string& plain, char flags = 0, const std::string& fields = "") {
  const uLong crc =
      crc32(0, reinterpret_cast<const Bytef*>(plain.data()), static_cast<uInt>(plain.size()));
  return std::string("\x1f\x8b\x08") + flags + std::string("\x01\x02\x03\x04\x02\x03", 6) + fields +
         deflated(plain) + little_endian(static_cast<uint32_t>(crc)) +
         little_endian(static_cast<uint32_t>(plain.size()));
}

std::string some_text(size_t size) {
  std::string text;
  for (uint32_t i = 0; text.size() < size; i++)
    text += std::to_string(i * 2654435761u) + " line\n";
  text.resize(size);
  return text;
}

constexpr size_t WHOLE = SIZE_MAX;

// Decodes in pieces of `piece` bytes; the first result that isn't the piece's length ends it.
struct decoding {
  explicit decoding(const std::string& packed, size_t piece = WHOLE) {
    const xp_ref<memory_stream> sink(memory_stream_new(""));
    const xp_ref<xp_stream> gzip(xp_gzip_stream_new(nullptr, sink.get(), nullptr));
    EXPECT_EQ(xp_stream_open(gzip.get(), STREAM_MODE_WRITE), XP_OK);
    while (code == 0 && used < packed.size()) {
      const size_t length = std::min(piece, packed.size() - used);
      const int32_t taken =
          xp_stream_write(gzip.get(), packed.data() + used, static_cast<int32_t>(length));
      if (taken != static_cast<int32_t>(length)) code = taken;
      used += length;
    }
    xp_stream_close(gzip.get());
    EXPECT_EQ(sink->open_count, 0);
    plain = *sink->written;
  }
  std::string plain;
  size_t used = 0;  // bytes given until the end
  int32_t code = 0;
};

TEST(XpGzip, DecodesTheSameInPiecesOfAnySize) {
  const std::string plain = some_text(100000);
  const std::string packed = member(plain);
  for (const size_t piece : {size_t{1}, size_t{7}, size_t{4096}, WHOLE}) {
    const decoding result(packed, piece);
    EXPECT_EQ(result.code, 0) << piece;
    EXPECT_EQ(result.plain, plain) << piece;
  }
  EXPECT_EQ(decoding(member("")).code, 0) << "an empty member";
}

TEST(XpGzip, PassesOptionalHeaderFieldsOver) {
  const std::string nul(1, '\0');
  const std::string extra = "\x40\x9c" + std::string(40000, 'e');
  const std::string longest = "\xff\xff" + std::string(65535, 'e');
  const std::string name = "name.msi" + nul;
  const std::string comment = std::string(50000, 'c') + nul;
  const struct {
    char flags;
    std::string fields;
  } rows[] = {{0x1E, extra + name + comment + "cc"},
              {0x04, longest},
              {0x04, nul + nul},
              {0x08, name},
              {0x10, comment},
              {0x02, "cc"},
              {0x01, ""}};
  for (const auto& row : rows)
    for (const size_t piece : {size_t{1}, size_t{1000}, WHOLE}) {
      const decoding result(member("the text", row.flags, row.fields), piece);
      EXPECT_EQ(result.code, 0) << int{row.flags};
      EXPECT_EQ(result.plain, "the text") << int{row.flags};
    }
}

struct damage_row {
  const char* reason;
  size_t at;        // index of the changed byte
  size_t from_end;  // the same from the end, when not 0
  char byte;
  int32_t code;
  bool whole;  // all decoded bytes have reached the stream behind
};

TEST(XpGzip, TellsWhatIsWrongWithAMember) {
  constexpr damage_row rows[] = {
      {"first byte", 0, 0, 'x', XP_E_GZIP_SIGNATURE, false},
      {"second byte", 1, 0, 'x', XP_E_GZIP_SIGNATURE, false},
      {"not deflate", 2, 0, 7, XP_E_GZIP_SIGNATURE, false},
      {"reserved flag", 3, 0, 0x20, XP_E_GZIP_HEADER, false},
      {"deflate data", 10, 0, '\xff', XP_E_STREAM, false},
      {"last byte of the checksum", 0, 5, 'x', XP_E_GZIP_CHECKSUM, true},
      {"last byte of the length", 0, 1, 'x', XP_E_GZIP_LENGTH, true},
  };
  const std::string plain = some_text(1000);
  for (const damage_row& row : rows) {
    std::string packed = member(plain);
    packed[row.from_end ? packed.size() - row.from_end : row.at] = row.byte;
    for (const size_t piece : {size_t{1}, WHOLE}) {
      const decoding result(packed, piece);
      EXPECT_EQ(result.code, row.code) << row.reason;
      EXPECT_TRUE(!row.whole || result.plain == plain) << row.reason;
    }
  }
  EXPECT_EQ(decoding(std::string(20, 'x'), 1).used, 10u) << "judged at the tenth byte";
}

TEST(XpGzip, EndsAtTheTrailer) {
  const std::string packed = member("text");
  EXPECT_EQ(decoding(packed + "rest").code, 0) << "dropped in the same write";
  const decoding later(packed + "r", packed.size());
  EXPECT_EQ(later.code, XP_E_IO);
  EXPECT_EQ(later.plain, "text");
}

TEST(XpGzip, TakesATruncatedMemberAsItIs) {
  const std::string plain = some_text(1000);
  const std::string packed = member(plain);
  for (size_t length = 0; length < packed.size(); length++) {
    const decoding result(packed.substr(0, length));
    ASSERT_EQ(result.code, 0) << length;
    ASSERT_EQ(plain.compare(0, result.plain.size(), result.plain), 0) << length;
  }
}

TEST(XpGzip, ExpandsABombInBoundedMemory) {
  const std::string packed = member(std::string(50000000, '\0'));
  ASSERT_LT(packed.size(), 60000u);
  static int64_t total;
  static int32_t longest;
  total = longest = 0;
  const xp_ref<memory_stream> sink(memory_stream_new(""));
  sink->write = [](xp_stream*, const void*, int32_t length) {
    total += length;
    longest = std::max(longest, length);
    return length;
  };
  const xp_ref<xp_stream> gzip(xp_gzip_stream_new(nullptr, sink.get(), nullptr));
  ASSERT_EQ(xp_stream_open(gzip.get(), STREAM_MODE_WRITE), XP_OK);
  {
    const heap_watch watch;
    EXPECT_EQ(xp_stream_write(gzip.get(), packed.data(), static_cast<int32_t>(packed.size())),
              static_cast<int32_t>(packed.size()));
    EXPECT_LE(watch.asked(), 1) << "zlib's window, once";
  }
  EXPECT_EQ(total, 50000000);
  EXPECT_LE(longest, 0x800A);
  xp_stream_close(gzip.get());
}

TEST(XpGzip, StopsWhenTheStreamBehindRefuses) {
  const xp_ref<memory_stream> sink(memory_stream_new(""));
  sink->fail_write_at = 3;
  const xp_ref<xp_stream> gzip(xp_gzip_stream_new(nullptr, sink.get(), nullptr));
  ASSERT_EQ(xp_stream_open(gzip.get(), STREAM_MODE_WRITE), XP_OK);
  const std::string packed = member("text");
  const auto length = static_cast<int32_t>(packed.size());
  EXPECT_EQ(xp_stream_write(gzip.get(), packed.data(), length), XP_E_IO);
  xp_stream_close(gzip.get());
}

TEST(XpGzip, CanOnlyBeWrittenTo) {
  EXPECT_EQ(xp_gzip_stream_new(nullptr, nullptr, nullptr), nullptr);
  const xp_ref<memory_stream> sink(memory_stream_new(""));
  const xp_ref<xp_stream> gzip(xp_gzip_stream_new(nullptr, sink.get(), nullptr));
  EXPECT_EQ(xp_stream_open(gzip.get(), 0), XP_E_PARAMETER);
  ASSERT_EQ(xp_stream_open(gzip.get(), STREAM_MODE_WRITE), XP_OK);
  char byte;
  int64_t size = 9;
  int32_t flags = 9;
  EXPECT_EQ(xp_stream_read(gzip.get(), &byte, 1), XP_E_IO);
  EXPECT_EQ(xp_stream_rewind(gzip.get()), XP_E_IO);
  EXPECT_EQ(xp_stream_size(gzip.get(), &size), XP_OK);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(xp_stream_size(gzip.get(), nullptr), XP_E_PARAMETER);
  EXPECT_EQ(xp_stream_option(gzip.get(), STREAM_OPTION_FLAGS, &flags), XP_OK);
  EXPECT_EQ(flags, 0);
  EXPECT_EQ(xp_stream_option(gzip.get(), STREAM_OPTION_SEEK, nullptr), XP_E_STREAM);
  EXPECT_TRUE(xp_object_supports(gzip.get(), XP_STREAM_PROTOCOL));
  xp_stream_close(gzip.get());
}

TEST(XpGzip, SurvivesEveryFailedAllocation) {
  const std::string packed = member("text");
  const xp_ref<memory_stream> sink(memory_stream_new(""));
  sweep_allocations([&](heap_watch& watch) {
    const xp_ref<xp_stream> gzip(xp_gzip_stream_new(nullptr, sink.get(), nullptr));
    if (!gzip) return;
    const int32_t opened = xp_stream_open(gzip.get(), STREAM_MODE_WRITE);
    if (opened != XP_OK) {
      ASSERT_EQ(opened, XP_E_MEMORY);
      ASSERT_EQ(sink->open_count, 0);
      return;
    }
    const int32_t taken =
        xp_stream_write(gzip.get(), packed.data(), static_cast<int32_t>(packed.size()));
    ASSERT_EQ(taken < 0, watch.failed());
    xp_stream_close(gzip.get());
  });
}

// Moves everything that `packer` gives for `input` through `unpacker` to the end of `back`.
void pump(xp_filter* packer, uint32_t flags, xp_filter_span* input, xp_filter* unpacker,
          std::string* back) {
  int32_t more;
  do {
    uint8_t room[5000];
    xp_filter_span packed = {room, sizeof room};
    more = xp_filter_step(packer, flags, input, &packed);
    ASSERT_GE(more, 0);
    int32_t step;
    do {
      xp_filter_span output = {};
      step = xp_filter_step(unpacker, 0, &packed, &output);
      ASSERT_GE(step, 0);
      if (output.bytes) back->append(reinterpret_cast<char*>(output.bytes), output.count);
      xp_heap_free(output.bytes);
    } while (step > 0);
  } while (more > 0);
}

TEST(XpDeflate, GivesBackWhatItTookAtEveryLevel) {
  std::string plain = some_text(200000);
  for (const int32_t level : {-1, 0, 1, 9}) {
    const xp_ref<xp_filter> packer(xp_filter_new(0, level));
    const xp_ref<xp_filter> unpacker(xp_filter_new(1, 0));
    std::string back;
    auto* bytes = reinterpret_cast<uint8_t*>(plain.data());
    xp_filter_span first = {bytes, 100000};
    pump(packer.get(), XP_FILTER_SYNC, &first, unpacker.get(), &back);
    EXPECT_EQ(back.size(), 100000u) << "a sync brings everything out";
    xp_filter_span second = {bytes + 100000, 100000};
    pump(packer.get(), XP_FILTER_FINISH, &second, unpacker.get(), &back);
    EXPECT_EQ(back, plain) << level;
    EXPECT_EQ(xp_filter_finished(unpacker.get()), 1) << level;
  }
  EXPECT_EQ(xp_filter_new(0, 99), nullptr);
}

}  // namespace
