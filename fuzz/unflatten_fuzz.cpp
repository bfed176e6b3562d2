// Any bytes as a run of flattened entries, each offered to every kind. The form holds no size of
// the run, so an entry whose payload isn't all there is not offered. What comes back flattens to
// an entry that comes back, too.
#include "fuzz/object_fuzz.h"
#include "object/xp_bool.h"
#include "object/xp_data.h"
#include "object/xp_date.h"
#include "object/xp_flat.h"
#include "object/xp_num.h"
#include "object/xp_str.h"

static void restore(xp_object* kind, const uint8_t* entry) {
  xp_ref value(reinterpret_cast<xp_object*>(
      xp_object_control(kind, XP_CTL_UNFLATTEN, 0, const_cast<uint8_t*>(entry))));
  if (!value) return;
  xp_flat_writer sizing = {};
  const auto size =
      static_cast<uint32_t>(xp_object_control(value.get(), XP_CTL_FLATTEN, 1, &sizing));
  std::vector<uint8_t> bytes(size);
  xp_flat_writer writer = {nullptr, bytes.data(), size, 0};
  if (xp_object_control(value.get(), XP_CTL_FLATTEN, 1, &writer) != size || writer.used != size)
    abort();
  xp_ref again(
      reinterpret_cast<xp_object*>(xp_object_control(kind, XP_CTL_UNFLATTEN, 1, bytes.data())));
  if (value->tag != XP_DATE && (!again || again->tag != value->tag)) abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  xp_ref text(xp_str_new("a"));
  xp_ref data(xp_data_new("a", 1));
  xp_ref num(xp_num_new(1));
  xp_ref truth(xp_bool_new(1));
  xp_ref date(xp_date_new(1));
  xp_object* const kinds[] = {text.get(), data.get(), num.get(), truth.get(), date.get()};
  while (size >= XP_FLAT_HEADER) {
    const uint32_t length =
        static_cast<uint32_t>(bytes[8]) << 24 | bytes[9] << 16 | bytes[10] << 8 | bytes[11];
    if (length > size - XP_FLAT_HEADER) return 0;
    const std::vector<uint8_t> entry(bytes, bytes + XP_FLAT_HEADER + length);
    for (xp_object* kind : kinds)
      restore(kind, entry.data());
    const size_t step = XP_FLAT_HEADER + ((length + 3ull) & ~3ull);
    if (step > size) return 0;
    bytes += step;
    size -= step;
  }
  return 0;
}
