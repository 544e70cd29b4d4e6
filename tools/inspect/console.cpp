#include "inspect/console.h"

#include <core/foundation/save_file.h>

#include "plot/number_text.h"

#include <core/core.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <istream>
#include <ostream>
#include <system_error>

namespace inspect {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kChunk = std::size_t{4} << 20U;

fs::path PathOf(const std::string& utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

std::string Megabytes(std::size_t bytes) {
    return plot::FixedText(static_cast<double>(bytes) / 1e6, 0) + " MB";
}

std::string ReadStream(std::istream& in, const std::string& name, std::size_t expected,
                       const Console& console) {
    Progress progress(console);
    std::string bytes;
    bytes.reserve(expected + 1);
    while (in) {
        const std::size_t before = bytes.size();
        // Asked for more than is left, so that the end shows.
        const std::size_t step =
            before < expected ? std::min(kChunk, expected - before + 1) : kChunk;
        bytes.resize(before + step);
        in.read(bytes.data() + before, static_cast<std::streamsize>(step));
        bytes.resize(before + static_cast<std::size_t>(in.gcount()));
        if (bytes.size() > kMostBytes) {
            throw Failure(name, "larger than " + Megabytes(kMostBytes));
        }
        progress.Show("reading " + name + ": " + Megabytes(bytes.size()));
    }
    if (in.bad()) {
        throw Failure(name, "cannot be read");
    }
    return bytes;
}

void WriteStream(std::ostream& out, const std::string& name, std::string_view bytes) {
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.flush();
    if (!out) {
        throw Failure(name, "cannot be written");
    }
}

void WriteFile(const fs::path& path, const std::string& name, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        throw Failure(name, "cannot be opened for writing");
    }
    WriteStream(out, name, bytes);
    out.close();
    if (!out) {
        throw Failure(name, "cannot be written");
    }
}

}  // namespace

Progress::Progress(const Console& where)
    : console(where), lastShown(std::chrono::steady_clock::now()) {}

Progress::~Progress() {
    if (isShown) {
        console.err << "\r\x1B[K" << std::flush;
    }
}

void Progress::Show(std::string_view text) {
    const auto now = std::chrono::steady_clock::now();
    if (!console.isTerminal || now - lastShown < std::chrono::milliseconds(200)) {
        return;
    }
    lastShown = now;
    Write(text);
}

void Progress::Announce(std::string_view text, std::size_t bytes) {
    constexpr std::size_t kTakesLong = std::size_t{16} << 20U;
    if (console.isTerminal && bytes >= kTakesLong) {
        Write(text);
    }
}

void Progress::Write(std::string_view text) {
    isShown = true;
    console.err << '\r' << text << "\x1B[K" << std::flush;
}

void ReportError(const Console& console, const std::string& what) {
    console.err << "core-inspect: " + what + '\n' << std::flush;
}

std::string InputName(const std::string& file) {
    return file == "-" ? "standard input" : file;
}

std::string OutputName(const std::string& file) {
    return file == "-" ? "standard output" : file;
}

std::string ReadInput(const std::string& file, const Console& console) {
    const std::string name = InputName(file);
    if (file == "-") {
        return ReadStream(console.in, name, 0, console);
    }
    const fs::path path = PathOf(file);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        throw Failure(name, "no such file");
    }
    if (fs::is_directory(status)) {
        throw Failure(name, "is a directory");
    }
    std::uintmax_t size = fs::is_regular_file(status) ? fs::file_size(path, error) : 0;
    if (error) {
        size = 0;
    }
    if (size > kMostBytes) {
        throw Failure(name, "larger than " + Megabytes(kMostBytes));
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw Failure(name, "cannot be opened");
    }
    return ReadStream(in, name, static_cast<std::size_t>(size), console);
}

void WriteOutput(const std::string& file, std::string_view bytes, const Console& console) {
    const std::string name = OutputName(file);
    if (file == "-") {
        WriteStream(console.out, name, bytes);
        return;
    }
    const fs::path path = PathOf(file);
    std::error_code error;
    if (const fs::file_status status = fs::status(path, error);
        fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status)) {
        WriteFile(path, name, bytes);  // a device or a pipe, which nothing can replace
    } else if (const core::SaveResult result = core::SaveFile(file, bytes); !result) {
        throw Failure(name, result.reason);
    }
}

void RequireOutput(const Console& console) {
    console.out.flush();
    if (!console.out) {
        throw Failure(OutputName("-"), "cannot be written");
    }
}

}  // namespace inspect
