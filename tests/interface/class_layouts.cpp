// All classes of the public headers, for their debug information; never run.
#include <core/core.h>

// Of templates, those that a caller's instances meet the library's with.
template class core::detail::ListenerOf<int>;
