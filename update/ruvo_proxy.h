// The proxy that the computer's default configuration names for a URL.
#pragma once

struct xp_str;

// A new string "host:port" (the port only if the configuration has one), or null for a direct
// connection: no configuration, a bypassed host, no token for the URL's scheme, or no memory.
xp_str* ruvo_system_proxy(xp_str* url);

// The decision by itself. `proxy_list` and `bypass_list` are tokens between blanks, tabs, line
// ends and semicolons, in the form of the WinHTTP configuration; null is an empty list.
xp_str* ruvo_choose_proxy(xp_str* url, xp_str* proxy_list, xp_str* bypass_list);
