#pragma once

#include "api/configuration.h"
#include "api/container.h"
#include "api/detection_info.h"
#include "api/encoding.h"
#include "api/error.h"
#include "api/export.h"
#include "api/format_descriptions.h"
#include "api/generic_io.h"
#include "api/io.h"
#include "api/session.h"
#include "api/summary_info.h"
