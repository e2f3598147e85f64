#pragma once

#include "api/configuration_implementation.h"
#include "api/container_implementation.h"
#include "api/detect.h"
#include "api/engine_abi.h"
#include "api/filter.h"
#include "api/session_implementation.h"
#include "api/stream_bridge.h"
#include "api/summary_information.h"
#include "api/throw_on_error.h"
#include "api/time.h"
