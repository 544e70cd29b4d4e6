#include "documents.h"

#include "inputs.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace bench {
namespace {

std::string Number(double value) {
    char text[64];
    std::snprintf(text, sizeof text, std::fabs(value) < 1e8 ? "%0.8f" : "%0.15f", value);
    return text;
}

}  // namespace

std::string KeyframeText(int keyframes) {
    const std::vector<double> times = KeyTimes(keyframes);
    const std::vector<double> values = KeyValues(keyframes);
    Dice dice(41);
    std::string text =
        "{\"Version\": 1,\"ParameterType\": 0,\"_minVal\": 0.0,\"_maxVal\": 100.0,"
        "\"_baseRatio\": 1.0,\"keyframeSets\": [";
    for (std::size_t i = 0; i < times.size(); ++i) {
        text += i == 0 ? "{" : ",{";
        text += "\"_time\": " + Number(times[i]);
        text += ",\"Interpolation\": " + std::to_string(dice.Below(26));
        text += ",\"_value\": " + Number(values[i]);
        // Slopes that were set by hand have few digits, the others have many.
        text += ",\"_leftDerivative\": 0.5,\"_leftDerivativeY\": ";
        text += Number(dice.Between(-50.0, 50.0));
        text += ",\"_rightDerivative\": 0.0,\"_rightDerivativeY\": ";
        text += Number(dice.Between(-50.0, 50.0));
        text += "}";
    }
    return text + "],\"MD5\":\"d41d8cd98f00b204e9800998ecf8427e\"}";
}

std::vector<Document> Documents(const std::vector<std::string>& files) {
    std::vector<Document> documents = {{"keyframes", KeyframeText(20'000)},
                                       {"small", KeyframeText(3)}};
    constexpr std::size_t kSmall = 795;
    std::string& small = documents.back().text;
    if (small.size() > kSmall) {
        throw std::logic_error("the small document is too large");
    }
    small.insert(1, "\"name\": \"" + std::string(kSmall - small.size() - 11, 'n') + "\",");

    std::vector<std::string> paths = files;
    if (paths.empty()) {
        for (const char* name : {"canada", "citm_catalog", "twitter"}) {
            paths.push_back(std::string("../shared/corpora/") + name + ".json");
        }
    }
    for (const std::string& path : paths) {
        std::ifstream file(path, std::ios::binary);
        std::string text{std::istreambuf_iterator<char>(file), {}};
        if (text.empty()) {
            std::printf("bench without %s: it can't be read\n", path.c_str());
        } else {
            documents.push_back({std::filesystem::path(path).stem().string(), std::move(text)});
        }
    }
    return documents;
}

}  // namespace bench
