#pragma once

#include "documents.h"
#include "suite.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// The families, each in a file of its own.
void AddSampling(Suite& suite);
void AddSolvers(Suite& suite);
void AddEditing(Suite& suite);
void AddAreas(Suite& suite);
void AddSpeeds(Suite& suite);
void AddIdentifiers(Suite& suite);
/// Reading and writing documents; `self` is this program.
void AddJson(Suite& suite, const std::vector<Document>& documents, const std::string& self);
void AddPacked(Suite& suite, const std::vector<Document>& documents, const std::string& self);
void AddNumberText(Suite& suite);
void AddMemory(Suite& suite);
void AddMd5(Suite& suite);
void AddEvents(Suite& suite);
void AddTimers(Suite& suite);
/// Parameters saved and loaded.
void AddStored(Suite& suite);
/// Other libraries' curves, as far as they were found when this was built.
void AddPeers(Suite& suite);
/// Contests of several threads, medians of so many rounds; `self` is this program.
void AddContests(Suite& suite, const std::string& self, int rounds);
/// Instructions, where valgrind is; `self` is this program.
void AddInstructions(Suite& suite, const std::string& self);

/// For main: `--round KIND CONTESTANT THREADS FOLDER` runs one round, leaves its figure in
/// the folder and answers true; false when the arguments ask for something else.
bool RunContestRound(int argc, char** argv);
/// A clip's retiming in other libraries, likewise.
void AddRetiming(Suite& suite);

/// Measures `answer(question)` on all questions of a pool, over and over; an item
/// is one question.
template <class Question, class Answer>
void RunOverPool(benchmark::State& state, const std::vector<Question>& pool, Answer&& answer) {
    // Whole runs between two looks at the state, so that looking costs nothing.
    constexpr std::size_t kRun = 1'000;
    std::size_t at = 0;
    while (state.KeepRunningBatch(kRun)) {
        for (std::size_t i = at; i < at + kRun; ++i) {
            benchmark::DoNotOptimize(answer(pool[i]));
        }
        at = at + 2 * kRun <= pool.size() ? at + kRun : 0;
    }
}

}  // namespace bench
