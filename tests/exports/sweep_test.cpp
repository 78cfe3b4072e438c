// Each platform call of each action fails once: the first, the middle and the last time
// that it is made. Not covered, besides the calls listed in tests/exports/scenarios.txt, are
// calls that are looked up instead of imported (data sources, plug-ins, downloads, running
// programs) and the shell's allocator; the tests of their units make those fail.
#include "tests/support/whole_machine.h"

#include <gmock/gmock.h>

#include <set>

namespace {

bool Never(const ImportedCall&, const uintptr_t*) { return false; }

} // namespace

class Sweep : public WholeMachine, public testing::WithParamInterface<Scenario> {
protected:
    // The truncated or lost files. An existing file must consist of complete lines of its
    // old and new versions, including all lines that are in both; a new file must have as
    // many lines as the action writes.
    static std::vector<std::string> Torn(const Files& before, const Files& after,
                                         const Files& now) {
        std::vector<std::string> torn;
        Files all = before;
        all.insert(now.begin(), now.end());
        for (const auto& path : all) {
            const auto lines = [&](const Files& files) { return Lines(files, path.first); };
            const std::set<std::string> old = lines(before), made = lines(after),
                                        found = lines(now);
            std::set<std::string> known = old, kept;
            known.insert(made.begin(), made.end());
            std::set_intersection(old.begin(), old.end(), made.begin(), made.end(),
                                  std::inserter(kept, kept.end()));
            const bool whole =
                before.count(path.first) == 0
                    ? found.size() == made.size() && after.count(path.first) != 0
                    : std::includes(known.begin(), known.end(), found.begin(), found.end()) &&
                          std::includes(found.begin(), found.end(), kept.begin(), kept.end());
            if (!whole)
                torn.push_back(path.first + ": " + testing::PrintToString(found));
        }
        return torn;
    }

private:
    // A file's lines with their breaks; "none" when it does not exist, a single empty
    // text when it is empty.
    static std::set<std::string> Lines(const Files& files, const std::string& path) {
        const auto file = files.find(path);
        if (file == files.end())
            return {"none"};
        std::set<std::string> lines;
        for (size_t at = 0, end = 0; at < file->second.size(); at = end) {
            end = file->second.find('\n', at) + 1;
            end = end == 0 ? file->second.size() : end;
            lines.insert(file->second.substr(at, end - at));
        }
        return lines.empty() ? std::set<std::string>{""} : lines;
    }
};

TEST_P(Sweep, EveryCallFailsOnce) {
    Plant(GetParam());
    Run(Never); // creates what is created only once
    const Outcome clean = Run(Never);
    EXPECT_THAT(clean.wrong, testing::IsEmpty());
    for (const auto& [name, count] : clean.calls)
        for (const int number : std::set<int>{1, (count + 1) / 2, count}) {
            Outcome outcome;
            // Once more on an error: the first failure of its kind may create what then stays.
            const bool isStore = name.find(StoreCall) == 0;
            for (int round = 0; round == 0 || (round == 1 && !outcome.wrong.empty()); ++round) {
                int made = 0;
                if (isStore)
                    (answers[name.substr(StoreCall.size())] =
                         std::deque<HRESULT>(size_t(number - 1), S_OK))
                        .push_back(E_FAIL);
                outcome = Run([&, &failing = name](const ImportedCall& call, const uintptr_t*) {
                    return failing == call.name && ++made == number;
                });
            }
            const std::string what = GetParam().action + ": " + name + " " +
                                     std::to_string(number) + " of " + std::to_string(count) + ": ";
            for (const std::string& wrong : outcome.wrong)
                ADD_FAILURE() << what << wrong;
            for (const std::string& torn : Torn(outcome.before, clean.files, outcome.files))
                if (torn.find("temporary\\") != 0 ||
                    (name != "DeleteFileA" && !Contains(Log(), "temporary\\~qx")))
                    ADD_FAILURE() << what << "neither old nor new: " << torn;
        }
}

INSTANTIATE_TEST_SUITE_P(Actions, Sweep, testing::ValuesIn(Scenarios()), [](const auto& info) {
    return info.param.action + std::to_string(info.index);
});

class SweptCalls : public WholeMachine {};

TEST_F(SweptCalls, AreAllThatTheLibraryImportsAndOfEveryAction) {
    std::string reached = Unfailing(), actions = " ";
    for (const Scenario& scenario : Scenarios()) {
        actions += scenario.action + " ";
        Plant(scenario);
        for (const auto& call : Run(Never).calls)
            reached += call.first + " ";
    }
    importtable::ForEachSlot(moduleUnderTest, [&](const char* file, const char* name, void**) {
        // The C runtime works on existing memory, except where it allocates.
        EXPECT_TRUE(std::string(file) == "msvcrt.dll" ||
                    reached.find(std::string(" ") + name + " ") != std::string::npos)
            << name;
    });
    EXPECT_THAT(reached, testing::HasSubstr(" malloc "));
#define SETUP_ACTION(Name, Room, When, Purpose)                                                    \
    EXPECT_THAT(actions, testing::HasSubstr(" " #Name " "));
#include "exports/catalogue.inc"
#undef SETUP_ACTION
}
