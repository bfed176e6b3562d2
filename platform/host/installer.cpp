#include "platform/host/host.h"

constinit const xp_installer_ops host_installer = {};
