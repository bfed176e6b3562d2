// What the files of this back end share: its tables, and the machine folder.
#pragma once

#include "platform/platform.h"

extern const xp_heap_ops host_heap;
extern const xp_lock_ops host_lock;
extern const xp_text_ops host_text;
extern const xp_locale_ops host_locale;
extern const xp_clock_ops host_clock;
extern const xp_file_ops host_files;
extern const xp_console_ops host_console;
extern const xp_folder_ops host_folders;
extern const xp_registry_ops host_registry;
extern const xp_event_log_ops host_event_log;
extern const xp_installer_ops host_installer;
extern const xp_trust_ops host_trust;
extern const xp_system_ops host_system;
extern const xp_proxy_ops host_proxy;
extern const xp_random_ops host_random;
extern const xp_socket_ops host_sockets;
extern const xp_tls_ops host_tls;

// ICU's name of the user's locale. The C locale has no conventions of a person; it counts as the
// United States, as a Windows computer without a choice does.
const char* host_user_locale();

// A reader that has gone away and a file at its size limit are failed writes, not the end of the
// process. Called before the first write of any kind.
void host_ignore_write_signals();
