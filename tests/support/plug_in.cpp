// A security plug-in for tests, controlled by the environment:
//   PLUG_IN_RESULT  the result of every export: a number; "argument" for the
//                   argument passed; "fault" to write to address 0 instead;
//                   "group" for 0, or 1376 while there is no group to find
//   PLUG_IN_MADE    set while there is a group
//   PLUG_IN_GROUP   the group's name
#include <windows.h>

#include <cstdlib>
#include <string>

static std::string Variable(const char* name) {
    char value[1024] = "";
    GetEnvironmentVariableA(name, value, sizeof value);
    return value;
}

static unsigned Answer(unsigned long argument) {
    const std::string result = Variable("PLUG_IN_RESULT");
    if (result == "fault") {
        volatile int* volatile nowhere = nullptr;
        *nowhere = 1; // cppcheck-suppress nullPointer
    }
    return result == "argument" ? argument : static_cast<unsigned>(std::atoi(result.c_str()));
}

#define EXPORTED extern "C" __declspec(dllexport) unsigned PLUG_IN_CONVENTION
EXPORTED CreateNTUserGroup(unsigned long session);
EXPORTED DeleteNTUserGroup(unsigned long session);
EXPORTED FindKestrelNTUserGroup(char* name, unsigned long size);

EXPORTED CreateNTUserGroup(unsigned long session) {
    SetEnvironmentVariableA("PLUG_IN_MADE", "1");
    return Answer(session);
}
EXPORTED DeleteNTUserGroup(unsigned long session) {
    SetEnvironmentVariableA("PLUG_IN_MADE", nullptr);
    return Answer(session);
}
EXPORTED FindKestrelNTUserGroup(char* name, unsigned long size) {
    const std::string group = Variable("PLUG_IN_GROUP");
    for (unsigned long i = 0; i < size; ++i) // not terminated when it fills the buffer
        name[i] = i < group.size() ? group[i] : '\0';
    const bool isMissing =
        Variable("PLUG_IN_RESULT") == "group" && Variable("PLUG_IN_MADE").empty();
    return isMissing ? ERROR_NO_SUCH_ALIAS : Answer(size);
}
