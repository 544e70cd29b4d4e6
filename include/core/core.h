#pragma once

/// Everything that the library offers, in one include.

#include <core/curve/big_keyframe.h>
#include <core/curve/control_points.h>
#include <core/curve/interpolation.h>
#include <core/curve/keyframe.h>
#include <core/curve/keyframe_handle.h>
#include <core/curve/motion_path.h>
#include <core/curve/parameter.h>
#include <core/curve/parameter_iterator.h>
#include <core/curve/pointd.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>
#include <core/export.h>
#include <core/foundation/file_helpers.h>
#include <core/foundation/text_encoding.h>
#include <core/foundation/tick_time.h>
#include <core/foundation/time_span.h>
#include <core/foundation/time_util.h>
#include <core/foundation/uuid.h>
#include <core/logging/diagnostics.h>
#include <core/logging/log.h>
#include <core/messaging/worker.h>
#include <core/version.h>
