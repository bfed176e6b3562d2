// Getting the installer onto the disk under a name that the Windows Installer accepts: its
// canonical name, the cached copy recognised by its digest, and the package taken out of an
// installer container.
#pragma once

#include "object/xp_str.h"
#include "paths/xp_path.h"

// The last segment of the URL's path, without the query; null when there is none, when it begins
// with "." and for no memory.
xp_str* ruvo_name_from_url(xp_str* url);

// 0 when the file's SHA-256 equals `digest` (hexadecimal text in either case; 63 digits at least,
// what stands behind the 64th is not looked at), any other value otherwise.
int32_t ruvo_digest_matches(xp_path* path, xp_str* digest);

// Brings the installer at `path` under a name that ends in ".msi": takes the package out of a
// container, or copies the file beside itself when it has another name. `name` may be null.
// Returns the package's path, which may be `path` itself; null when there is no package.
xp_path* ruvo_extract_installer(xp_path* path, xp_str* name);
