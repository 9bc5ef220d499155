#pragma once

#include <cppmicroservices/GlobalConfig.h>

#define US_ENABLE_THREADING_SUPPORT
