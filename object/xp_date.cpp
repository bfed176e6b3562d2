#include "object/xp_date.h"

#include <string.h>

#include "format/xp_fmt.h"
#include "object/xp_flat.h"
#include "time/xp_time.h"

static int32_t date_compare(xp_object* a, xp_object* b) {
  const uint32_t left = static_cast<xp_date*>(a)->seconds;
  const uint32_t right = static_cast<xp_date*>(b)->seconds;
  return left < right ? -1 : left > right;
}

// Local time, as in 2014-05-31 18:04:09.
static int32_t date_render(xp_object* object, char* buffer, uint32_t size) {
  char text[128];
  xp_time_fields fields = {};
  xp_time_to_local_fields(static_cast<xp_date*>(object)->seconds, &fields);
  const int32_t length = xp_fmt_date(text, sizeof(text), "%F %T", -1, &fields, 0);
  if (!buffer || length <= 0) return length;
  const uint32_t shown =
      static_cast<uint32_t>(length) < size ? static_cast<uint32_t>(length) : size;
  memcpy(buffer, text, shown);
  return static_cast<int32_t>(shown);
}

static xp_word date_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer) {
  xp_flat_payload payload;
  switch (selector) {
    case XP_CTL_FLATTEN:
      return xp_flat_put_number(static_cast<xp_flat_writer*>(pointer), argument, XP_DATE,
                                static_cast<xp_date*>(object)->seconds, 4);
    case XP_CTL_UNFLATTEN:
      if (!xp_flat_open(pointer, XP_DATE, argument, &payload)) return 0;
      return reinterpret_cast<xp_word>(
          xp_date_new(static_cast<uint32_t>(xp_flat_number(&payload, 4))));
    default:
      return 0;
  }
}

xp_date* xp_date_new(uint32_t seconds) {
  if (seconds == XP_TIME_INVALID) return nullptr;
  auto* date = xp_object_new<xp_date>(XP_DATE);
  if (!date) return nullptr;
  date->compare = date_compare;
  date->render = date_render;
  date->control = date_control;
  date->seconds = seconds ? seconds : xp_time_now();
  return date;
}
