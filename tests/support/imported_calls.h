// A library's platform calls, intercepted through its import table: counted, made to fail
// in each call's own way, and checked for handles left open.
#pragma once

#include "frame/windows_api.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

struct ImportedCall {
    const char* name;
    LONG failure; // its result when it fails, and the last error then
    DWORD error;
    char kind = 0;        // what it opens or closes; 0: nothing
    int place = 0;        // where the handle is: 0 the result, 1... what that argument points to
    int handles = 1;      // how many, in a row; 0: the call closes the one there
    bool answers = false; // returns `answer` instead of making the real call
    LONG answer = 0;
};

class ImportedCalls {
public:
    // Intercepts every call in the table that the library imports. Existing replacements
    // are called in turn.
    explicit ImportedCalls(HMODULE library);
    ~ImportedCalls();
    ImportedCalls(const ImportedCalls&) = delete;
    ImportedCalls& operator=(const ImportedCalls&) = delete;

    // Makes every such call return this from now on.
    static void Answer(const std::string& name, LONG answer);

    // Decides before each call, with its arguments, whether it is to fail.
    using Fails = std::function<bool(const ImportedCall& call, const uintptr_t* arguments)>;

    // Runs the body. Result: the number of times each call was made.
    static std::map<std::string, int> Watch(const std::function<void()>& body, Fails fails);

    // What the body opened and did not close, for example "CreateFileA 3": the third such
    // call.
    static std::vector<std::string> LeftOpen();
};
