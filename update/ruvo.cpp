#include "update/ruvo.h"
