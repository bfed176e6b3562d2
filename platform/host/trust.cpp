#include "platform/host/host.h"

constinit const xp_trust_ops host_trust = {};
