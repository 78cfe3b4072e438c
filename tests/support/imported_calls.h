// The platform calls of one library, through its import table: counted, made to
// fail each in its own way, and watched for what they open and do not close.
#pragma once

#include "frame/windows_api.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

struct ImportedCall {
    const char* name;
    LONG failure; // what it answers when it fails, and the last error then
    DWORD error;
    char kind = 0;        // of what it opens or closes; 0: nothing
    int place = 0;        // where that stands: 0 the result, 1 and so on behind an argument
    int handles = 1;      // so many beside each other; 0: it closes the one there
    bool answers = false; // gives this in the place of the real call
    LONG answer = 0;
};

class ImportedCalls {
public:
    // Takes the place of every call of the table below that the library imports;
    // replacements that are there already are called behind it.
    explicit ImportedCalls(HMODULE library);
    ~ImportedCalls();
    ImportedCalls(const ImportedCalls&) = delete;
    ImportedCalls& operator=(const ImportedCalls&) = delete;

    // Gives this answer to every such call from now on.
    static void Answer(const std::string& name, LONG answer);

    // Asked before each call, with its arguments: is it to fail?
    using Fails = std::function<bool(const ImportedCall& call, const uintptr_t* arguments)>;

    // Runs the body. Result: how often each call was made.
    static std::map<std::string, int> Watch(const std::function<void()>& body, Fails fails);

    // What the body opened and did not close, as "CreateFileA 3": the call and its number.
    static std::vector<std::string> LeftOpen();
};
