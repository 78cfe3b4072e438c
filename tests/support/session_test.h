// The fixture of most tests: a real installer session in this process, on its own scratch
// package.
#pragma once

#include "exports/actions.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

// A message sent to the installer, as its log would show it.
struct Message {
    INSTALLMESSAGE type;
    std::string text;
};

class SessionTest : public testing::Test {
protected:
    void SetUp() override;
    // Fails the test when an installer handle is still open.
    void TearDown() override;

    std::string Property(const char* name) const;
    void SetProperty(const char* name, const std::string& value) const;

    // Runs SQL on the session's database (CREATE TABLE and INSERT too); fails
    // the test when it does not execute.
    void Sql(const std::string& query) const;

    // Creates a table with these columns, "NAME" for a text or else "NAME TYPE" (the
    // first is the key), and these rows, in SQL notation.
    void MakeTable(const std::string& name, const std::vector<std::string>& columns,
                   const std::vector<std::string>& rows) const;

    // Adds a component to the package's only feature, in INSTALLDIR; adds a file to a
    // component. Call them before costing.
    void AddComponent(const std::string& component) const;
    void AddFile(const std::string& key, const std::string& name,
                 const std::string& component = "Main") const;

    // Runs costing, after which target paths and feature and component states are known.
    void Cost() const;

    // Makes the session look like a deferred, rollback or commit run with this action
    // data until the test ends.
    void MakeDeferred(const std::string& actionData, MSIRUNMODE mode = MSIRUNMODE_SCHEDULED);

    // The texts of all information messages so far, without the "[Date], [Time]: "
    // prefix of LogMessage.
    std::vector<std::string> Log() const;
    void ClearMessages() { messages.clear(); }

    MSIHANDLE session = 0;
    std::vector<Message> messages;

    // This test's own folder, initially empty, with a trailing backslash. It is removed
    // after the test without following links.
    std::string Scratch();

private:
    std::string scratch_;
};

// True when one of the lines contains the text.
bool Contains(const std::vector<std::string>& lines, const std::string& text);
