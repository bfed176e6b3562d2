#include "object/xp_data.h"

#include <string.h>

#include "object/xp_flat.h"

static int32_t data_render(xp_object* object, char* buffer, uint32_t size) {
  static const char digits[] = "0123456789ABCDEF";
  const auto* data = static_cast<xp_data*>(object);
  const uint64_t whole = static_cast<uint64_t>(data->length) * 2;
  const uint64_t limit = buffer && size < INT32_MAX ? size : INT32_MAX;
  const auto shown = static_cast<uint32_t>(whole < limit ? whole : limit);
  if (buffer)
    for (uint32_t i = 0; i < shown; i++)
      buffer[i] = digits[i % 2 ? data->bytes[i / 2] & 15 : data->bytes[i / 2] >> 4];
  return static_cast<int32_t>(shown);
}

static xp_word data_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer) {
  const auto* data = static_cast<xp_data*>(object);
  xp_flat_payload payload;
  switch (selector) {
    case XP_CTL_FLATTEN:
      return xp_flat_put(static_cast<xp_flat_writer*>(pointer), argument, XP_DATA, data->length,
                         data->bytes);
    case XP_CTL_UNFLATTEN:
      if (!xp_flat_open(pointer, XP_DATA, argument, &payload)) return 0;
      return reinterpret_cast<xp_word>(xp_data_new(payload.bytes, payload.length));
    default:
      return 0;
  }
}

xp_data* xp_data_new(const void* bytes, uint32_t length) {
  auto* data = xp_object_new<xp_data>(XP_DATA, sizeof(xp_data) + static_cast<size_t>(length));
  if (!data) return nullptr;
  data->render = data_render;
  data->control = data_control;
  data->length = length;
  data->bytes = reinterpret_cast<uint8_t*>(data + 1);
  if (bytes) memcpy(data->bytes, bytes, length);
  return data;
}

xp_data* xp_data_append(xp_data* data, const void* bytes, uint32_t length) {
  if (!data || data->length == 0) return xp_data_new(bytes, length);
  if (length == 0) return xp_retain(data);
  if (length > UINT32_MAX - data->length) return nullptr;
  xp_data* joined = xp_data_new(nullptr, data->length + length);
  if (!joined) return nullptr;
  memcpy(joined->bytes, data->bytes, data->length);
  if (bytes) memcpy(joined->bytes + data->length, bytes, length);
  return joined;
}
