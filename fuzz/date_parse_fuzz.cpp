// Date texts of any kind through each parser.
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "time/xp_time_parse.h"

static void require(bool holds) {
  if (!holds) abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  // A block of the very size, without a NUL, for the form with a length.
  const std::string copy(text.data(), text.size());
  const xp_time_t with_length = xp_time_parse_any(copy.data(), static_cast<int32_t>(size));
  const xp_time_t measured = xp_time_parse_any(text.c_str(), -1);
  if (size < 64 && text.find('\0') == std::string::npos) require(with_length == measured);

  xp_time_fields fields = {};
  const int32_t valid = xp_time_parse_fields(text.c_str(), &fields);
  require(valid == xp_time_parse_fields(text.c_str(), nullptr));
  if (valid) {
    require(fields.month >= 1 && fields.month <= 12 && fields.day >= 1 && fields.day <= 31);
    require(fields.hour < 24 && fields.minute < 60 && fields.second < 60);
  }
  xp_time_parse(text.c_str());
  xp_time_parse_iso(text.c_str());
  for (int32_t order = 0; order < 3; order++)
    if (xp_time_parse_locale(text.c_str(), order, size ? text[0] : '.', &fields))
      require(fields.month >= 1 && fields.month <= 12 && fields.weekday < 7);
  return 0;
}
