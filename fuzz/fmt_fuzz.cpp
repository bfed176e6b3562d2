// Any format with any slots: the output stays within the buffer, ends in a NUL, and counting
// promises no less than is written.
//
// A slot that a conversion follows must point at something. So a format comes with one of three
// kinds of slots, and is left alone when it asks for more than they give:
//   any number        no conversion of the format may follow a pointer;
//   text              any of them but objects;
//   objects           all of them: an object's bytes serve as text, too.
// Pointers lie in one region at an address whose low 32 bits are small. Read as a length, such a
// slot is a number of bytes that the region has behind it.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#include "format/xp_fmt.h"
#include "object/xp_str.h"

namespace {

constexpr uint64_t REGION = uint64_t{1} << 45;
constexpr size_t PLACES = 64;
constexpr size_t PLACE_SIZE = 0x200;
// Offset and length may both be as large as all places, and a UTF-16 unit has two bytes.
constexpr size_t REGION_SIZE = PLACES * PLACE_SIZE * 4;
constexpr uint32_t SLOTS = 8;

enum slot_kind : uint8_t { NUMBERS, TEXTS, OBJECTS, KINDS };

char* region() {
  static char* const mapped =
      static_cast<char*>(mmap(reinterpret_cast<void*>(REGION), REGION_SIZE, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0));
  if (mapped != reinterpret_cast<char*>(REGION)) abort();
  return mapped;
}

int32_t render_place(xp_object* object, char* buffer, uint32_t size) {
  const char* text = reinterpret_cast<char*>(object + 1);
  const auto length = static_cast<uint32_t>(strlen(text));
  if (!buffer) return static_cast<int32_t>(length);
  const uint32_t written = length < size ? length : size;
  memcpy(buffer, text, written);
  return static_cast<int32_t>(written);
}

// A place as an object that stands in `size` bytes of the input: a string, one that renders
// itself, or one that has no text.
void make_object(char* place, const uint8_t* bytes, size_t size) {
  auto* object = reinterpret_cast<xp_object*>(place);
  memcpy(place, bytes, size < 8 ? size : 8);  // count and tag, which the engine doesn't read
  object->retain = xp_default_retain;
  object->release = xp_default_release;
  const size_t most = PLACE_SIZE - sizeof(xp_str) - 4;
  if (size > most) size = most;
  switch (size > 8 ? bytes[8] % 3 : 2) {
    case 0: {
      xp_str* model = xp_str_new_constant("");
      if (!model) abort();
      object->render = model->render;
      object->control = model->control;
      xp_object_release(model);
      auto* string = reinterpret_cast<xp_str*>(place);
      memcpy(string->inline_bytes, bytes, size);
      string->text = string->inline_bytes;
      string->length = static_cast<int32_t>(size);
      break;
    }
    case 1:
      object->render = render_place;
      memcpy(object + 1, bytes, size);
      break;
    default:
      break;
  }
}

bool suits(const char* format, slot_kind kind) {
  if (kind == NUMBERS) return strpbrk(format, "sSPOHhUp") == nullptr;
  return kind == OBJECTS || strchr(format, 'O') == nullptr;
}

struct input {
  const uint8_t* at;
  size_t left;

  uint8_t byte() {
    if (left == 0) return 0;
    left--;
    return *at++;
  }
  uint64_t number() {
    uint64_t value = 0;
    for (int i = 0; i < 8; i++)
      value = value << 8 | byte();
    return value;
  }
};

void fill_slots(input* in, slot_kind kind, uint64_t* slots) {
  memset(region(), 0, REGION_SIZE / 4);
  for (uint32_t i = 0; i < SLOTS; i++) {
    if (kind == NUMBERS) {
      slots[i] = in->number();
      continue;
    }
    const uint8_t choice = in->byte();
    const uint64_t place = uint64_t{choice} % PLACES;
    slots[i] = choice >= 0xF0 ? 0 : REGION + place * PLACE_SIZE;
    char* at = region() + place * PLACE_SIZE;
    memset(at, 0, PLACE_SIZE);  // another slot may have filled it
    const size_t take = in->left < 48 ? in->left : 48;
    if (kind == OBJECTS)
      make_object(at, in->at, take);
    else
      memcpy(at, in->at, take);
  }
}

void check(const char* format, const uint64_t* slots, int32_t size) {
  auto* buffer = static_cast<char*>(malloc(static_cast<size_t>(size)));
  if (!buffer) abort();
  memset(buffer, '\x7F', static_cast<size_t>(size));
  const int32_t count = xp_fmt_vprint(nullptr, 0, format, slots, SLOTS);
  const int32_t written = xp_fmt_vprint(buffer, size, format, slots, SLOTS);
  if (written < 0 || written > size - 1 || written > count || buffer[written] != 0) abort();
  // With room for all of it, and nothing that is cut by a precision or to whole characters, the
  // count is exact.
  const bool exact = !strpbrk(format, ".*O");
  if (exact && count < size && written != count) abort();
  free(buffer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  input in = {bytes, size};
  const auto kind = static_cast<slot_kind>(in.byte() % KINDS);
  const int32_t small = 1 + in.byte();
  char format[128] = {};
  const size_t length = in.byte() % (sizeof(format) - 1);
  for (size_t i = 0; i < length; i++)
    format[i] = static_cast<char>(in.byte());
  if (!suits(format, kind)) return 0;

  uint64_t slots[SLOTS];
  fill_slots(&in, kind, slots);
  check(format, slots, small);
  check(format, slots, 0x10000);
  return 0;
}
