#include "platform/host/host.h"

constinit const xp_event_log_ops host_event_log = {};
