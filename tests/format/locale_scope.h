// The snapshot of the user's conventions, for a test to write to; what stood there comes back at
// the end of the scope.
#pragma once

#include <string.h>

#include "time/xp_locale.h"

struct locale_scope {
  locale_scope() : snapshot(const_cast<xp_locale*>(xp_locale_get())), saved_(*snapshot) {
    strcpy(snapshot->positive_sign, "+");
    strcpy(snapshot->negative_sign, "-");
    strcpy(snapshot->decimal_point, ".");
    strcpy(snapshot->thousands_separator, ",");
    strcpy(snapshot->money_thousands_separator, ",");
    set_grouping(snapshot->grouping, "\3\0\xFF", 3);
    set_grouping(snapshot->money_grouping, "\3\0\xFF", 3);
  }
  ~locale_scope() {
    // The count goes on, so that a reload falls due as it would have.
    saved_.call_count = snapshot->call_count;
    saved_.next_refresh = snapshot->next_refresh;
    *snapshot = saved_;
  }
  locale_scope(const locale_scope&) = delete;
  locale_scope& operator=(const locale_scope&) = delete;

  static void set_grouping(uint8_t (&grouping)[16], const char* sizes, size_t count) {
    memset(grouping, 0, sizeof(grouping));
    memcpy(grouping, sizes, count);
  }

  xp_locale* snapshot;

 private:
  xp_locale saved_;
};
