// Hostile machines for every action: complete machines in which some parts are replaced by
// bad ones. Run by scripts/fuzz.sh, which sets FUZZ_SECONDS and FUZZ_SEED.
#include "tests/support/whole_machine.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace {

// The pieces of hostile values.
const std::string Pieces[] = {"",
                              " ",
                              "\t",
                              ".",
                              "..",
                              "\\",
                              "/",
                              "C:",
                              "C:\\",
                              "C:/",
                              "C:\\.",
                              "\\\\?\\C:\\",
                              "Q:\\none",
                              "\\\\server\\share",
                              "\\\\.\\PIPE\\x",
                              "NUL",
                              "sub",
                              "..\\sub",
                              "logs",
                              "{S}",
                              "{S}tree",
                              "{S}..\\..\\..\\..\\..\\..\\..",
                              "%s%n%d",
                              "%PATH%",
                              "[ProductName]",
                              "[~]",
                              "[",
                              "]",
                              "[#",
                              "{",
                              "}",
                              "\"",
                              "'",
                              "`",
                              ";",
                              "|",
                              "=",
                              ",",
                              "&",
                              "%",
                              "*",
                              "?",
                              "a=b;c=d",
                              "{N}",
                              "{N}[StopService]{N}1=W3SVC{N}",
                              "\x1A",
                              "\x81",
                              "\xFF",
                              "0",
                              "-1",
                              "1.2.3.4.5",
                              "2147483647",
                              "4294967295",
                              "99999999999999999999",
                              "http://127.0.0.1:9/",
                              "install|",
                              "uninstall|",
                              std::string(259, 'x'),
                              std::string(260, 'x'),
                              std::string(261, 'x'),
                              std::string(511, 'y'),
                              std::string(1040, 'z'),
                              std::string(5000, ';'),
                              std::string(70000, 'w')};
const char Separators[] = "|;=\\',\n";
const char Changeable[] = " property registry number list file sql data ";

// The calls that change files, the index of the path argument, and whether they remove it.
const struct {
    std::string call;
    int path;
    bool removes;
} Changes[] = {{"DeleteFileA", 0, true},         {"RemoveDirectoryA", 0, true},
               {"MoveFileA", 0, false},          {"MoveFileA", 1, false},
               {"CopyFileA", 1, false},          {"ReplaceFileA", 0, false},
               {"CreateDirectoryA", 0, false},   {"CreateFileA", 0, false},
               {"SetFileAttributesA", 0, false}, {"WritePrivateProfileStringA", 3, false}};

unsigned Setting(const char* name, unsigned standard) {
    const char* const text = std::getenv(name);
    return text == nullptr || *text == '\0' ? standard : static_cast<unsigned>(std::atoi(text));
}

} // namespace

class Fuzz : public WholeMachine {
protected:
    size_t Below(size_t limit) { return random_() % limit; }

    std::string Hostile() {
        std::string text;
        for (size_t left = Below(4) == 0 ? 1 + Below(6) : 1; left > 0; --left)
            text += Pieces[Below(std::size(Pieces))];
        return text;
    }

    // The value with a single change.
    std::string Spoilt(std::string value) {
        const size_t at = Below(value.size() + 1), end = value.find_first_of(Separators, at);
        switch (Below(5)) {
        case 0:
            return Hostile();
        case 1:
            return value.insert(at, Hostile());
        case 2: // replaces one field
            return value.substr(0, value.find_last_of(Separators, at) + 1) + Hostile() +
                   (end < value.size() ? value.substr(end) : "");
        case 3:
            return value.substr(0, at);
        default:
            return value + value;
        }
    }

    // The same for one text in a statement: the engine does not survive truncated statements.
    void SpoilField(std::string& statement) {
        std::vector<size_t> quotes;
        for (size_t at = 0; (at = statement.find('\'', at)) != std::string::npos; ++at)
            quotes.push_back(at);
        if (quotes.empty())
            return;
        const size_t first = 2 * Below(quotes.size() / 2), start = quotes[first] + 1;
        std::string field = Spoilt(statement.substr(start, quotes[first + 1] - start));
        field.erase(std::remove(field.begin(), field.end(), '\''), field.end());
        statement.replace(start, quotes[first + 1] - start, field);
    }

    // A scenario with some of its lines changed or removed.
    Scenario Make(unsigned seed) {
        random_.seed(seed);
        Scenario scenario = Scenarios()[Below(Scenarios().size())];
        for (size_t left = 1 + Below(3); left > 0 && !scenario.lines.empty(); --left) {
            const auto line =
                scenario.lines.begin() + static_cast<int>(Below(scenario.lines.size()));
            if (std::string(Changeable).find(" " + line->kind + " ") == std::string::npos)
                continue;
            if (line->kind == "registry" && Below(8) == 0)
                line->kind = Below(2) == 0 ? "number" : "list"; // another type
            else if (line->kind == "sql")
                SpoilField(line->value);
            else if (Below(10) == 0)
                scenario.lines.erase(line);
            else
                line->value = Spoilt(line->value);
        }
        for (const Scenario& other : Scenarios()) // any result of the action is acceptable
            for (const ScenarioLine& line : other.lines)
                if (line.kind == "result" && other.action == scenario.action)
                    scenario.lines.push_back(line);
        return scenario;
    }

    // Lets nothing outside the test's folder change. Trying to remove a folder there, or a
    // file in the current folder, is an error: no value names one.
    bool Refuses(const ImportedCall& call, const uintptr_t* arguments) {
        for (const auto& change : Changes) {
            const auto* const given = reinterpret_cast<const char*>(arguments[change.path]);
            const bool opens = change.call == "CreateFileA" && (arguments[1] & GENERIC_WRITE) == 0;
            char path[MAX_PATH] = "";
            if (change.call != call.name || opens || given == nullptr || *given == '\0' ||
                GetFullPathNameA(given, sizeof path, path, nullptr) >= sizeof path ||
                std::string(path).find(Scratch()) == 0)
                continue;
            const std::string asked = given;
            const bool full = asked.find(":\\") == 1 || asked.find(":/") == 1 || asked[0] == '\\';
            if (change.removes && (!full || change.call == "RemoveDirectoryA"))
                removed_ += " removes " + asked;
            return true;
        }
        return false;
    }

    // The errors, as a text; empty without any.
    std::string Try(const Scenario& scenario) {
        removed_.clear();
        Plant(scenario);
        const Outcome outcome = Run([&](const ImportedCall& call, const uintptr_t* arguments) {
            return Refuses(call, arguments);
        });
        std::string wrong = removed_;
        for (const std::string& what : outcome.wrong)
            wrong += " " + what;
        return wrong;
    }

    std::mt19937 random_;
    std::string removed_;
};

TEST_F(Fuzz, HostileMachinesAreSurvived) {
    isHostile = true;
    const DWORD start = GetTickCount(), length = 1000 * Setting("FUZZ_SECONDS", 0);
    unsigned seed = Setting("FUZZ_SEED", start);
    do {
        const Scenario scenario = Make(seed);
        std::string machine = scenario.action + " on";
        for (const auto& [kind, name, value] : scenario.lines)
            machine +=
                "\n  " + kind + " " + name + " = " + testing::PrintToString(value.substr(0, 300));
        // Shows what was running if it never ends or ends the program.
        std::printf("seed %u%s\n", seed++, length == 0 ? (", " + machine).c_str() : "");
        std::fflush(stdout);
        // The first run creates things that stay, so an error counts only if it recurs.
        const std::string wrong = Try(scenario).empty() ? "" : Try(scenario);
        EXPECT_EQ(wrong, "") << machine;
    } while (GetTickCount() - start < length && !HasFailure());
}
