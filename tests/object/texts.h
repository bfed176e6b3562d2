// What objects render to.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "object/xp_ref.h"
#include "object/xp_str.h"

inline std::string text_of(xp_object* object) {
  xp_ref text(xp_str_from_object(object));
  return text ? std::string(text->text, static_cast<size_t>(text->length)) : "(null)";
}

inline std::string cut_text(xp_object* object, uint32_t size) {
  char buffer[64] = {};
  const int32_t length = object->render(object, buffer, size);
  EXPECT_EQ(buffer[length], 0);
  return std::string(buffer, static_cast<size_t>(length));
}
