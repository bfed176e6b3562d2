// The whole state of one run. There is no other but the log of the process: every object here is
// owned by the run and released at its end.
#pragma once

#include "object/xp_array.h"
#include "object/xp_str.h"
#include "paths/xp_path.h"

// Values of the run result that are the run's own. The others are results of the download (HTTP
// statuses and codes of the exchange), of the trust service, and of the Windows Installer.
enum ruvo_result : int32_t {
  RUVO_OK = 0,                // done, or nothing to do
  RUVO_INVALID_OPTION = 1,    // also: the exchange ended with no response at all
  RUVO_NO_INSTRUCTIONS = 2,   // neither a URL nor a file
  RUVO_BAD_FILE_PATH = 4,     // the local installer path is not usable
  RUVO_NO_INSTALLER = 5,      // no installer could be extracted
  RUVO_EXPIRED = 6,           // the instructions have expired
  RUVO_OS_UNKNOWN = 7,        // the Windows version could not be read
  RUVO_OS_NOT_TARGETED = 8,   // the Windows version lies outside the window
  RUVO_NOT_SELECTED = 9,      // the coverage doesn't select this computer
  RUVO_GATED_OFF = 10,        // updates are gated off for this client
  RUVO_NOT_NECESSARY = 128,   // the package decides that no install is necessary
  RUVO_REBOOT_NEEDED = 3010,  // installed, reboot needed
  RUVO_FAILED = -1,           // out of memory before the check, or no trust service
};

struct ruvo_state {
  // Instructions, by option (o) or settings key (s).
  xp_str* url;             // o s
  xp_object* proxy;        // o s; an xstr or bool in practice
  xp_str* name;            // o s; canonical name of the installer
  xp_path* file;           // o; local installer
  xp_str* version;         // o s
  xp_str* digest;          // o s; SHA-256 in hexadecimal
  xp_str* instpath;        // o s; registry place of the installed version
  int32_t mode;            // o s; how the installed version bears on the run
  int32_t quiet;           // o s
  int32_t loglevel;        // o s
  int32_t verify;          // o; stop behind the signature check
  xp_object* notify;       // o s; an xstr or bool in practice
  int32_t result;          // o; the process result is the run result
  int32_t help;            // o; negative: the index of an invalid argument
  int32_t settings_input;  // o; read settings from standard input
  xp_path* settings_file;  // o; read settings from this file
  xp_array* properties;    // o s; of xstr
  int64_t coverage;        // s; in parts of 2^20
  uint32_t expiration;     // s; seconds since 1970, 0 for none
  xp_str* os_minimum;      // s
  xp_str* os_maximum;      // s
  // What the run finds out.
  xp_path* cache_folder;
  xp_path* installer;  // the fetched file
  xp_path* payload;    // the package that is verified and installed
  int32_t run_result;
};
