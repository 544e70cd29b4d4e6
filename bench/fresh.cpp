#include "fresh.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

namespace bench {
namespace {

const char* const kRound = "--fresh";

std::map<std::string, FreshJob>& Jobs() {
    static std::map<std::string, FreshJob> jobs;
    return jobs;
}

}  // namespace

FreshJobAdded::FreshJobAdded(const std::string& name, FreshJob job) {
    Jobs()[name] = std::move(job);
}

double FreshMicroseconds(const std::string& self, const std::string& job,
                         const std::string& input) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::filesystem::path from = folder / "core_bench_fresh.in";
    const std::filesystem::path to = folder / "core_bench_fresh.out";
    std::ofstream(from, std::ios::binary) << input;
    const std::string command = "\"" + self + "\" " + kRound + " " + job + " \"" + from.string() +
                                "\" >\"" + to.string() + "\"";
    std::vector<double> times(9);
    for (double& time : times) {
        if (std::system(command.c_str()) != 0 || !(std::ifstream(to) >> time)) {
            throw std::runtime_error("failed: " + command);
        }
    }
    std::filesystem::remove(from);
    std::filesystem::remove(to);
    std::nth_element(times.begin(), times.begin() + 4, times.end());
    return times[4];
}

bool RunFreshRound(int argc, char** argv) {
    if (argc != 4 || std::strcmp(argv[1], kRound) != 0) {
        return false;
    }
    std::ifstream file(argv[3], std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(file), {}};
    const std::function<void()> action = Jobs().at(argv[2])(input);
    const auto start = std::chrono::steady_clock::now();
    action();
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
    std::printf("%.3f\n", time.count());
    return true;
}

}  // namespace bench
