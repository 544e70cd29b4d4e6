#pragma once

// The verbs of core-inspect. Each answers the exit status and throws `Failure` for what
// ends it.

#include "inspect/console.h"

#include <string>

namespace inspect {

struct PlotRequest {
    std::string file;
    std::string picture = "-";
    std::string title;  // empty for the file's name
    double fps = 25.0;
};
int Plot(const PlotRequest& request, const Console& console);

}  // namespace inspect
