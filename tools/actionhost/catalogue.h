// The catalogue of all actions as data, which of them work from action data or are
// taken back by a rollback run, and the public properties that they read.
#pragma once

namespace actionhost {

struct CatalogueRow {
    const char* name;
    const char* when; // Immediate, Deferred or Both
    const char* purpose;
};
inline const CatalogueRow Catalogue[] = {
#define SETUP_ACTION(Name, Room, When, Purpose) {#Name, #When, Purpose},
#include "exports/catalogue.inc"
#undef SETUP_ACTION
};

struct ActionDataRow {
    const char* action;
    const char* id;     // empty: any; in brackets: the property that holds it
    const char* source; // the action that prepares the data; empty: the package does
};
inline const ActionDataRow ActionData[] = {
#define ACTION_DATA(Action, Id, Source) {#Action, Id, #Source},
#include "exports/action_data.inc"
#undef ACTION_DATA
};

struct TakenBackRow {
    const char* action; // whose rollback run takes its changes back
    const char* stays;  // where the package has no row for that run
};
inline const TakenBackRow TakenBack[] = {
#define TAKEN_BACK(Action, Stays) {#Action, Stays},
#define STAYS(Action, Stays)
#include "exports/rollback.inc"
#undef TAKEN_BACK
#undef STAYS
};

struct SecurePropertyRow {
    const char* name;
    const char* actions; // that read it, between blanks
};
inline const SecurePropertyRow SecurePropertyRows[] = {
#define SECURE_PROPERTY(Name, Actions) {Name, Actions},
#define SERVER_PROPERTY(Name, Why)
#include "exports/properties.inc"
#undef SECURE_PROPERTY
#undef SERVER_PROPERTY
};

struct ServerPropertyRow {
    const char* name;
    const char* why; // no client may set it
};
inline const ServerPropertyRow ServerPropertyRows[] = {
#define SECURE_PROPERTY(Name, Actions)
#define SERVER_PROPERTY(Name, Why) {Name, Why},
#include "exports/properties.inc"
#undef SECURE_PROPERTY
#undef SERVER_PROPERTY
};

struct LogLineRow {
    const char* patterns; // one to a line
    const char* actions;  // that write it, between blanks; empty: every one
    const char* worth;    // Step, Good, Bad or Varies
    const char* meaning;
    const char* remedy;
};
inline const LogLineRow LogLines[] = {
#define LOG_SECTION(Title, Text)
#define LOG_LINE(Patterns, Actions, Worth, Meaning, Remedy)                                        \
    {Patterns, Actions, #Worth, Meaning, Remedy},
#define UNDATED_LINE LOG_LINE
#include "exports/log_lines.inc"
#undef LOG_SECTION
#undef LOG_LINE
#undef UNDATED_LINE
};

} // namespace actionhost
