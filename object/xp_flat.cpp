#include "object/xp_flat.h"

#include <string.h>

#include "object/xp_data.h"

static void put_little(uint8_t* out, uint32_t value) {
  for (int i = 0; i < 4; i++)
    out[i] = static_cast<uint8_t>(value >> (8 * i));
}

static void put_big(uint8_t* out, uint64_t value, uint32_t size) {
  for (uint32_t i = 0; i < size; i++)
    out[i] = static_cast<uint8_t>(value >> (8 * (size - 1 - i)));
}

static uint64_t get_big(const uint8_t* bytes, uint32_t size) {
  uint64_t value = 0;
  for (uint32_t i = 0; i < size; i++)
    value = value << 8 | bytes[i];
  return value;
}

static uint32_t get_little(const uint8_t* bytes) {
  uint32_t value = 0;
  for (int i = 3; i >= 0; i--)
    value = value << 8 | bytes[i];
  return value;
}

uint32_t xp_flat_put(xp_flat_writer* writer, uint32_t key, uint32_t tag, uint32_t length,
                     const void* bytes) {
  if (!writer || length > UINT32_MAX - XP_FLAT_HEADER - 3) return 0;
  const uint32_t padded = (length + 3) & ~3u;
  const uint32_t size = XP_FLAT_HEADER + padded;
  if (writer->bytes) {
    if (!xp_flat_reserve(writer, size)) return 0;
    uint8_t* entry = writer->bytes + writer->used;
    put_little(entry, key);
    put_little(entry + 4, tag);
    put_big(entry + 8, length, 4);
    memset(entry + XP_FLAT_HEADER, 0, padded);
    if (bytes) memcpy(entry + XP_FLAT_HEADER, bytes, length);
  }
  writer->used += size;
  return size;
}

uint32_t xp_flat_put_number(xp_flat_writer* writer, uint32_t key, uint32_t tag, uint64_t value,
                            uint32_t size) {
  uint8_t payload[8];
  put_big(payload, value, size);
  return xp_flat_put(writer, key, tag, size, payload);
}

int32_t xp_flat_reserve(xp_flat_writer* writer, uint32_t count) {
  if (writer->capacity - writer->used >= count) return 1;
  if (!writer->holder) return 0;
  xp_data* grown = xp_data_append(writer->holder, nullptr, count);
  xp_object_release(writer->holder);
  writer->holder = grown;
  if (!grown) return 0;
  writer->capacity += count;
  writer->bytes = grown->bytes;
  return 1;
}

bool xp_flat_open(const void* entry, uint32_t tag, uint32_t key, xp_flat_payload* out) {
  const auto* bytes = static_cast<const uint8_t*>(entry);
  if (!bytes || get_little(bytes + 4) != tag) return false;
  if (key && get_little(bytes) != key) return false;
  *out = {bytes + XP_FLAT_HEADER, static_cast<uint32_t>(get_big(bytes + 8, 4))};
  return true;
}

uint64_t xp_flat_number(const xp_flat_payload* payload, uint32_t size) {
  return payload->length < size ? 0 : get_big(payload->bytes, size);
}
