#pragma once

/// Has `action` run when the module of this function is detached at the end of the
/// process: after the program's own objects are gone, before the library's.
void AtModuleEnd(void (*action)());
