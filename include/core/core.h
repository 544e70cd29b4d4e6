#pragma once

/// Everything that the library offers, in one include.

#ifndef __cplusplus
#error "core/core.h is for C++; C includes core/logging/log.h, pref_trace.h or diagnostics.h"
#elif __cplusplus < 201703L && (!defined(_MSVC_LANG) || _MSVC_LANG < 201703L)
#error "core needs C++17 or later: compile with -std=c++17, or /std:c++17 for Visual C++"
#endif

#include <core/curve/big_keyframe.h>
#include <core/curve/control_points.h>
#include <core/curve/interpolation.h>
#include <core/curve/interpolation_info.h>
#include <core/curve/keyframe.h>
#include <core/curve/keyframe_handle.h>
#include <core/curve/motion_path.h>
#include <core/curve/parameter.h>
#include <core/curve/parameter_iterator.h>
#include <core/curve/pointd.h>
#include <core/curve/snapshot.h>
#include <core/curve/time_unit.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>
#include <core/data/bson_box.h>
#include <core/data/bson_item.h>
#include <core/data/bson_packer.h>
#include <core/data/bson_sizes.h>
#include <core/data/bson_unpacker.h>
#include <core/data/json_allocator.h>
#include <core/data/json_array.h>
#include <core/data/json_bad_access.h>
#include <core/data/json_bson.h>
#include <core/data/json_compare.h>
#include <core/data/json_doc.h>
#include <core/data/json_iterator.h>
#include <core/data/json_merge_patch.h>
#include <core/data/json_object.h>
#include <core/data/json_parse.h>
#include <core/data/json_pointer.h>
#include <core/data/json_string.h>
#include <core/data/json_tree.h>
#include <core/data/json_value.h>
#include <core/data/json_view.h>
#include <core/data/json_write.h>
#include <core/data/message_pack.h>
#include <core/data/value_types.h>
#include <core/export.h>
#include <core/foundation/file_helpers.h>
#include <core/foundation/md5.h>
#include <core/foundation/mem_pool.h>
#include <core/foundation/save_file.h>
#include <core/foundation/text_encoding.h>
#include <core/foundation/thread_name.h>
#include <core/foundation/tick_time.h>
#include <core/foundation/time_span.h>
#include <core/foundation/time_util.h>
#include <core/foundation/uuid.h>
#include <core/logging/diagnostics.h>
#include <core/logging/log.h>
#include <core/logging/log_files.h>
#include <core/logging/log_flush.h>
#include <core/logging/log_form.h>
#include <core/logging/pref_trace.h>
#include <core/messaging/counters.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/future.h>
#include <core/messaging/listening.h>
#include <core/messaging/message.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/queue_limit.h>
#include <core/messaging/thread_of.h>
#include <core/messaging/timer.h>
#include <core/messaging/worker.h>
#include <core/speed/snapshot.h>
#include <core/speed/speed_parameter.h>
#include <core/version.h>
