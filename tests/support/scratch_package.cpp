#include "tests/support/scratch_package.h"

#include "frame/handles.h"

#include <gtest/gtest.h>

#include <wtypes.h>

using setupactions::InstallerHandle;

namespace {

const char* const Statements[] = {
    "CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL "
    "PRIMARY KEY `Property`)",
    "CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), "
    "`DefaultDir` CHAR(255) NOT NULL PRIMARY KEY `Directory`)",
    "CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), "
    "`Directory_` CHAR(72) NOT NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), "
    "`KeyPath` CHAR(72) PRIMARY KEY `Component`)",
    "CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), "
    "`Title` CHAR(64), `Description` CHAR(255), `Display` SHORT, `Level` SHORT NOT NULL, "
    "`Directory_` CHAR(72), `Attributes` SHORT NOT NULL PRIMARY KEY `Feature`)",
    "CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` CHAR(72) "
    "NOT NULL PRIMARY KEY `Feature_`, `Component_`)",
    "CREATE TABLE `File` (`File` CHAR(72) NOT NULL, `Component_` CHAR(72) NOT NULL, "
    "`FileName` CHAR(255) NOT NULL, `FileSize` LONG NOT NULL, `Version` CHAR(72), "
    "`Language` CHAR(20), `Attributes` SHORT, `Sequence` SHORT NOT NULL PRIMARY KEY `File`)",
    "CREATE TABLE `CustomAction` (`Action` CHAR(72) NOT NULL, `Type` SHORT NOT NULL, "
    "`Source` CHAR(72), `Target` CHAR(255) PRIMARY KEY `Action`)",
    "CREATE TABLE `Condition` (`Feature_` CHAR(38) NOT NULL, `Level` SHORT NOT NULL, "
    "`Condition` CHAR(255) PRIMARY KEY `Feature_`, `Level`)",

    "INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductName', 'Scratch')",
    "INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductVersion', '1.0.0')",
    "INSERT INTO `Property` (`Property`, `Value`) VALUES ('ProductLanguage', '1033')",
    "INSERT INTO `Property` (`Property`, `Value`) VALUES "
    "('ProductCode', '{6F3C2C38-5A44-4B4E-9B27-3F6A2B1D0C11}')",
    "INSERT INTO `Directory` (`Directory`, `DefaultDir`) VALUES ('TARGETDIR', 'SourceDir')",
    "INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES "
    "('ProgramFilesFolder', 'TARGETDIR', '.')",
    "INSERT INTO `Directory` (`Directory`, `Directory_Parent`, `DefaultDir`) VALUES "
    "('INSTALLDIR', 'ProgramFilesFolder', 'Scratch')",
    "INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`, `KeyPath`) "
    "VALUES ('Main', '{0B6E4C0C-9F5A-4E0B-8D0A-5E7C4F2B9A01}', 'INSTALLDIR', 0, 'readme')",
    "INSERT INTO `Feature` (`Feature`, `Display`, `Level`, `Attributes`) VALUES ('Complete', 1, 1, "
    "0)",
    "INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('Complete', 'Main')",
    "INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, `Sequence`) "
    "VALUES ('readme', 'Main', 'readme.txt', 10, 512, 1)",
};

std::string MakePackage() {
    char folder[MAX_PATH];
    GetTempPathA(MAX_PATH, folder);
    const std::string path =
        std::string(folder) + "scratch" + std::to_string(GetCurrentProcessId()) + ".msi";
    InstallerHandle database;
    EXPECT_EQ(MsiOpenDatabaseA(path.c_str(), MSIDBOPEN_CREATE, database.Out()), 0u) << path;
    for (const char* statement : Statements)
        EXPECT_EQ(RunSql(database.Get(), statement), 0u) << statement;

    const UINT templateId = 7, packageCodeId = 9, schemaId = 14, sourceId = 15;
    InstallerHandle summary;
    EXPECT_EQ(MsiGetSummaryInformationA(database.Get(), nullptr, 4, summary.Out()), 0u);
    MsiSummaryInfoSetPropertyA(summary.Get(), templateId, VT_LPSTR, 0, nullptr, ";1033");
    MsiSummaryInfoSetPropertyA(summary.Get(), packageCodeId, VT_LPSTR, 0, nullptr,
                               "{3D9E1B52-6C1E-4B7C-A4B4-2F7D3C9F4E02}");
    MsiSummaryInfoSetPropertyA(summary.Get(), schemaId, VT_I4, 200, nullptr, nullptr);
    MsiSummaryInfoSetPropertyA(summary.Get(), sourceId, VT_I4, 2, nullptr, nullptr);
    EXPECT_EQ(MsiSummaryInfoPersist(summary.Get()), 0u);
    EXPECT_EQ(MsiDatabaseCommit(database.Get()), 0u);
    return path;
}

} // namespace

const std::string& ScratchPackage() {
    static const struct Package {
        const std::string path = MakePackage();
        ~Package() { DeleteFileA(path.c_str()); }
    } package;
    return package.path;
}

UINT RunSql(MSIHANDLE database, const std::string& query) {
    InstallerHandle view;
    const UINT result = MsiDatabaseOpenViewA(database, query.c_str(), view.Out());
    return result != ERROR_SUCCESS ? result : MsiViewExecute(view.Get(), 0);
}
