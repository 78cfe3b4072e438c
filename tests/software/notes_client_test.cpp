#include "tests/support/machine.h"

TEST_F(MachineTest, NotesFoldersComeFromTheReleaseFoundAndItsIniFromWhereItIs) {
    const char program[] = "NOTESDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const char data[] = "NOTESDATADIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const char ini[] = "NOTESINIDIR.BE00BFC4_2CFC_11D3_BE22_0010A4F29E70";
    const std::string windows = Here("windows\\"), programs = Here("programs\\");
    const std::string notes = Here("notes\\"), notesData = Here("notes\\data\\");
    const Properties notes5 = {
        {"NOTES_5_DIR", notes}, {"NOTES_5_DATA_DIR", notesData}, {"NOTESDIR", Here("ini\\")}};
    const Properties chosen = {{"NOTES_DIR", "C:\\c\\"}, {program, notes}, {"NOTESDIR", notes}};
    const struct {
        const char *name, *ini;
        Properties properties, changed;
    } cases[] = {
        {"no release", "windows\\notes.ini", {{"NOTESDIR", notes}}, {}},
        {"in the Windows folder",
         "windows\\notes.ini",
         notes5,
         {{program, notes}, {data, notesData}, {ini, windows}}},
        {"beside the program",
         "ini\\notes.ini",
         notes5,
         {{program, notes}, {data, notesData}, {ini, Here("ini\\")}}},
        {"nowhere", "none", notes5, {{program, notes}, {data, notesData}, {ini, programs}}},
        {"NOTESDIR, the source of the folder, not set",
         "notes\\notes.ini",
         {{"NOTES_4_DIR", notes}},
         {{program, notes}, {ini, windows}}},
        {"chosen", "notes\\notes.ini", chosen, {{ini, notes}}},
    };
    for (auto row : cases) {
        row.properties["WindowsFolder"] = windows;
        row.properties["ProgramFilesFolder"] = programs;
        EXPECT_EQ(RunOn({{}, {row.ini}, row.properties}, GetNotesPath), row.changed) << row.name;
    }
}
