#include "platform/host/host.h"

constinit const xp_registry_ops host_registry = {};
