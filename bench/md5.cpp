// Digests, beside OpenSSL's.

#include "contests.h"
#include "inputs.h"

#include <core/foundation/md5.h>

#include <openssl/evp.h>

#include <cstring>
#include <map>

namespace bench {
namespace {

using core::md5::MD5Digest;

MD5Digest Theirs(const std::vector<unsigned char>& data) {
    MD5Digest digest = {};
    unsigned size = 0;
    EVP_Digest(data.data(), data.size(), digest.bytes, &size, EVP_md5(), nullptr);
    return digest;
}

MD5Digest Ours(const std::vector<unsigned char>& data) {
    MD5Digest digest = {};
    core::md5::MD5Sum(data.data(), data.size(), &digest);
    return digest;
}

/// The same on each call, made by the first one.
const std::vector<unsigned char>& RandomBytes(int size) {
    static std::map<int, std::vector<unsigned char>> known;
    std::vector<unsigned char>& bytes = known[size];
    Dice dice(61);
    while (static_cast<int>(bytes.size()) < size) {
        bytes.push_back(static_cast<unsigned char>(dice.Below(256)));
    }
    return bytes;
}

}  // namespace

void AddMd5(Suite& suite) {
    suite.Section("MD5");
    struct Case {
        const char* what;
        int size;
        double goal;
        double floor;
    };
    for (const Case& one :
         {Case{"64 bytes", 64, 0.43, 0.6}, Case{"64 MiB", 64 << 20, 0.95, 1.05}}) {
        const std::string ours = Name("MD5", "core", one.size);
        const std::string theirs = Name("MD5", "OpenSSL", one.size);
        suite.Check(ours, 0.0, [=] {
            Agreement agreement;
            const std::vector<unsigned char>& data = RandomBytes(one.size);
            agreement.Compare(std::memcmp(Ours(data).bytes, Theirs(data).bytes, 16), 0.0);
            return agreement;
        });
        suite.Measure(ours, [=](benchmark::State& state) {
            const std::vector<unsigned char>& data = RandomBytes(one.size);
            for (auto _ : state) {
                benchmark::DoNotOptimize(Ours(data));
            }
        });
        suite.Measure(theirs, [=](benchmark::State& state) {
            const std::vector<unsigned char>& data = RandomBytes(one.size);
            for (auto _ : state) {
                benchmark::DoNotOptimize(Theirs(data));
            }
        });
        suite.Compare({one.what, one.size, ours, theirs, "OpenSSL", one.goal, one.floor});
    }
}

}  // namespace bench
