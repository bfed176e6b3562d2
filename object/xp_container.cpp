#include "object/xp_container.h"

xp_object* xp_container_keep(xp_object* value) {
  return value;
}

void xp_container_forget(xp_object*) {}

xp_object* xp_container_copy_value(xp_object* value, uint32_t flags) {
  auto* copy = reinterpret_cast<xp_object*>(xp_object_control(value, XP_CTL_COPY, flags, nullptr));
  return copy ? copy : xp_object_retain(value);
}
