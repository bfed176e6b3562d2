// The property strings that an install is started with.
#pragma once

#include "object/xp_array.h"

// What the three kinds of install begin with.
extern const char16_t ruvo_properties_reinstall[];
extern const char16_t ruvo_properties_replacing[];
extern const char16_t ruvo_properties_first[];

// A new heap block: `base`, then a blank and the text for each element (a null element adds only
// the blank). Nothing is quoted or escaped. Null when there is nothing to add or memory is out:
// `base` then serves alone.
char16_t* ruvo_join_properties(const char16_t* base, xp_array* properties);
