// The fixture of most tests: a real installer session, in this process, on a
// scratch package of its own.
#pragma once

#include "exports/actions.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

// One message that the installer was sent, as its log would show it.
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

    // Makes a table of columns, which are "NAME" for texts or else "NAME TYPE", the
    // first one being the key; and its rows, as SQL has them.
    void MakeTable(const std::string& name, const std::vector<std::string>& columns,
                   const std::vector<std::string>& rows) const;

    // Adds a component of the package's only feature, in INSTALLDIR; a file in a
    // component. Before costing.
    void AddComponent(const std::string& component) const;
    void AddFile(const std::string& key, const std::string& name,
                 const std::string& component = "Main") const;

    // Runs costing: target paths, feature and component states are then known.
    void Cost() const;

    // Makes the session look deferred, or like a rollback or commit run, with this
    // action data, until the test ends.
    void MakeDeferred(const std::string& actionData, MSIRUNMODE mode = MSIRUNMODE_SCHEDULED);

    // The texts of all information messages so far. Lines of LogMessage come
    // without their "[Date], [Time]: " prefix.
    std::vector<std::string> Log() const;
    void ClearMessages() { messages.clear(); }

    MSIHANDLE session = 0;
    std::vector<Message> messages;

    // A folder of this test, empty at its start, with a trailing backslash. It
    // is removed after the test; links in it are not followed.
    std::string Scratch();

private:
    std::string scratch_;
};

// True when one of the lines holds the text.
bool Contains(const std::vector<std::string>& lines, const std::string& text);
