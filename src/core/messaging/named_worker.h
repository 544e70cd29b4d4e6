#pragma once

#include <core/messaging/worker.h>

namespace core {

/// `CreateWorker`, with a name for its thread, which stays to the end of the process.
IWorker* CreateNamedWorker(const char* name);

}  // namespace core
