#include "tests/support/refused_processes.h"
#include "tests/support/sent_lines.h"
#include "tests/support/session_test.h"

using testing::ElementsAre;

TEST_F(SessionTest, TheCommandIsThePropertysOrDeferredTheActionData) {
    SentLines sent;
    const RefusedProcesses processes;
    EXPECT_THAT(sent.Of(AddLumo, session),
                ElementsAre("Skipping action (CustomActionData is empty)"));
    SetProperty("ADD_LUMO_DOCS_COMMAND", "own.exe /q");
    sent.Of(AddLumo, session);
    MakeDeferred("documents.exe");
    sent.Of(AddLumo, session);
    EXPECT_THAT(processes.started, ElementsAre("shown: own.exe /q", "shown: documents.exe"));
}
