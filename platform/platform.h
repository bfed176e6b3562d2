// The seam to the operating system. Everything that the system asks of it goes through the
// tables named here; nothing outside platform/ includes a system header.
//
// An operation is what its callers expect of it and no more: no policy, no logging, no
// allocation that the caller doesn't see. Errors come back as the small enums of each table's
// header. What a failure means is decided above the seam, so both back ends run the same logic.
//
// Back ends: platform/windows/ (the real thing) and platform/host/ (a Linux computer that stands
// for a Windows one). Each defines `xp_platform`, constant-initialised to its own set. A test
// points it at a set of its own, in which some slots are replaced.
#pragma once

#include "platform/clock.h"
#include "platform/console.h"
#include "platform/event_log.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/heap.h"
#include "platform/installer.h"
#include "platform/locale.h"
#include "platform/lock.h"
#include "platform/proxy.h"
#include "platform/random.h"
#include "platform/registry.h"
#include "platform/sockets.h"
#include "platform/system.h"
#include "platform/text.h"
#include "platform/tls.h"
#include "platform/trust.h"

struct xp_platform_set {
  const xp_heap_ops* heap;
  const xp_lock_ops* lock;
  const xp_text_ops* text;
  const xp_locale_ops* locale;
  const xp_clock_ops* clock;
  const xp_file_ops* files;
  const xp_console_ops* console;
  const xp_folder_ops* folders;
  const xp_registry_ops* registry;
  const xp_event_log_ops* event_log;
  const xp_installer_ops* installer;
  const xp_trust_ops* trust;
  const xp_system_ops* system;
  const xp_proxy_ops* proxy;
  const xp_random_ops* random;
  const xp_socket_ops* sockets;
  const xp_tls_ops* tls;
};

extern const xp_platform_set* xp_platform;
