// What lines tell of an installation as a whole: what was asked for, its product, its
// errors and states, its outcome.
#pragma once

#include "tools/logreport/lines.h"
#include "tools/logreport/model.h"

#include <string>
#include <string_view>

namespace logreport {

// Properties that tell what was asked for.
struct Facts {
    std::string remove;
    bool reinstalls = false;
    bool patches = false;
    bool isInstalled = false;
    bool isNew = false;
};

// A property that tells what was asked for, or of which product; others are passed over.
void TakeFact(std::string_view name, std::string_view value, Facts& facts,
              Installation& installation);

// What they tell was asked for; instead where they do not.
Asked AskedFor(const Facts& facts, Asked instead);

// The value of NAME=value in a command line; empty where there is none.
std::string_view ValueIn(std::string_view commandLine, std::string_view name);

// Sets what no line before told, in the report's form.
void SetOnce(std::string& value, std::string_view text);

// The code of the whole, of a line.
void TakeAnswer(Installation& installation, int64_t code, LineNumber line);

// The sequence that holds all others ended, with its return value.
void TakeSequenceEnd(Installation& installation, int returnValue, LineNumber line,
                     const Moment& at);

// An error message; 0: it has no number.
void AddError(Installation& installation, int number, std::string_view text, LineNumber at);

// A line of Kind::State.
void AddState(Installation& installation, Line line, LineNumber at);

} // namespace logreport
