#pragma once

/// Everything that the library offers, in one include.

#include <core/export.h>
#include <core/version.h>
