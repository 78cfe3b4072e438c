// What the installer's own numbers mean, and what to do about them.
#pragma once

namespace logreport {

struct CodeAdvice {
    int number;
    const char* meaning;
    const char* remedy;
};

// Of a whole installation's answer (1603), or null.
const CodeAdvice* AdviceOfCode(int code);

// Of an error message's number ("Error 1920."), or null.
const CodeAdvice* AdviceOfError(int number);

} // namespace logreport
