#pragma once

#include <chrono>
#include <cstddef>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>

namespace inspect {

/// What ends a verb for one file: it cannot be read, understood or written. `what()`
/// reads "file: what is wrong".
class Failure : public std::runtime_error {
public:
    Failure(const std::string& file, const std::string& what)
        : std::runtime_error(file + ": " + what) {}
};

/// The streams of a run. They carry bytes: nothing translates line ends.
struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    /// Whether somebody watches `err`.
    bool isTerminal = false;
};

/// A line on the terminal, and on nothing else, that tells what takes so long. It goes
/// away with this object.
class Progress {
public:
    explicit Progress(const Console& where);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    /// Shows `text`, but not within a fifth of a second of what was shown last or of
    /// the start.
    void Show(std::string_view text);
    /// Shows what is done with so many bytes in one go, if it takes that long.
    void Announce(std::string_view text, std::size_t bytes);

private:
    void Write(std::string_view text);

    const Console& console;
    std::chrono::steady_clock::time_point lastShown;
    bool isShown = false;
};

/// Writes "core-inspect: `what`", as all errors read.
void ReportError(const Console& console, const std::string& what);

/// How messages call a file: standard input and output have no name of their own.
std::string InputName(const std::string& file);
std::string OutputName(const std::string& file);

/// All bytes of a file with a UTF-8 name, or of standard input for "-". Throws
/// `Failure`, also for more than `kMostBytes`.
std::string ReadInput(const std::string& file, const Console& console);
inline constexpr std::size_t kMostBytes = std::size_t{1} << 30U;

/// Writes a file with a UTF-8 name, or standard output for "-". A file that exists is
/// replaced once all is written, and is as it was after a `Failure`.
void WriteOutput(const std::string& file, std::string_view bytes, const Console& console);

/// Throws `Failure` when standard output has not taken all so far.
void RequireOutput(const Console& console);

}  // namespace inspect
