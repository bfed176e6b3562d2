#include "platform/host/host.h"

constinit const xp_proxy_ops host_proxy = {};
