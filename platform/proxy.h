// The computer's default proxy configuration.
#pragma once

struct xp_proxy_ops {
  // Reads the default proxy list and bypass list, as NUL-terminated UTF-16 blocks of the process
  // heap that the caller frees; a list that is not set is null. False on failure, both null.
  bool (*defaults)(char16_t** proxy_list, char16_t** bypass_list);
};
