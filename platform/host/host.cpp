// A Linux computer that stands for a Windows one.
#include "platform/host/host.h"

static constexpr xp_platform_set host = {
    .heap = &host_heap,
    .lock = &host_lock,
    .text = &host_text,
    .locale = &host_locale,
    .clock = &host_clock,
    .files = &host_files,
    .console = &host_console,
    .folders = &host_folders,
    .registry = &host_registry,
    .event_log = &host_event_log,
    .installer = &host_installer,
    .trust = &host_trust,
    .system = &host_system,
    .proxy = &host_proxy,
    .random = &host_random,
    .sockets = &host_sockets,
    .tls = &host_tls,
};

constinit const xp_platform_set* xp_platform = &host;
