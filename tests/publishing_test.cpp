#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string Suffix = ".51E1B228_523E_4858_8B11_C7BA1538A57C";
const std::string Action = "AddLumoSamples" + Suffix;
const char JavaKey[] = "SOFTWARE\\JavaSoft\\Java Runtime Environment";
const char KitKey[] = "SOFTWARE\\JavaSoft\\Java Development Kit";

std::string Properties(const std::string& cms, const std::string& universes,
                       const std::string& connections, const std::string& relations,
                       const std::string& documents, const std::string& list) {
    return "CMS=" + cms + "\r\nPublishUniverse=y\r\nUniverseDirectory=" + universes +
           "\r\nDataConnectionDirectory=" + connections + "\r\nRelationFile=" + relations +
           "\r\nPublishDoc=y\r\nFileFolderDirectory=" + documents + "\r\nCUIDList=" + list +
           "\r\nFolderName=Root Folder\r\nOverwrite=y\r\nAssociateCategory=y\r\n"
           "GenerateNewCuid=\r\nPublishCorporateDashboardMenu=n\r\n"
           "CorporateDashboardPublishedFolder=Performance Management\r\nSI_HAS_PROMPT=0\r\n";
}

} // namespace

class PublishingTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        folder = Scratch() + "my samples\\";
        MakeFolders(folder);
        properties = folder + "PublishUtil.properties";
        batch = folder + "runPublishUtil.bat";
        named = "PublishUtil.properties" + Suffix + "=" + properties;
    }

    void Publish(const std::string& actionData) {
        DeleteFileA(properties.c_str());
        DeleteFileA(batch.c_str());
        MakeDeferred(actionData);
        EXPECT_EQ(PublishDemo(session), ERROR_SUCCESS);
    }

    // The batch file with this much before "-classpath".
    std::string Batch(const std::string& java) const {
        return "cd /d \"" + folder + "\"\r\n" + java +
               " -classpath publishUtil.jar;vxcore.jar;vxlib.jar;vxplugins.jar;vxsession.jar;"
               "corbaidl.jar;ebus405.jar;xercesImpl.jar;xml-apis.jar "
               "com.tarnwick.util.PublishUtil \"" +
               properties + "\"\r\n";
    }

    std::string folder, properties, batch, named;
    const PrivateRegistry registry;
};

TEST_F(PublishingTest, TheHelperGathersWhatTheActionWrites) {
    int sequence = 2;
    for (const std::string name :
         {"relationship.txt", "PublishUtil.properties", "CUIDList.txt", "runPublishUtil.bat"})
        Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
            "`Sequence`) VALUES ('" +
            name + Suffix + "', 'Main', '" + name + "', 10, 512, " + std::to_string(sequence++) +
            ")");
    SetProperty("INSTALLDIR", folder);
    SetProperty("NAMESERVER", "cms:6400");
    SetProperty(("unws" + Suffix).c_str(), "C:\\Program Files\\Samples\\unv\\");
    SetProperty(("UserDocs" + Suffix).c_str(), "C:\\docs");
    SetProperty("win32_x86", "C:\\bin\\");
    Cost();
    EXPECT_EQ(PublishDemoHelper(session), ERROR_SUCCESS);
    const std::string data = Property(Action.c_str());
    EXPECT_EQ(data, "NAMESERVER=cms:6400;unws" + Suffix + "=C:\\Program Files\\Samples\\unv\\;" +
                        "UserDocs" + Suffix + "=C:\\docs;relationship.txt" + Suffix + "=" + folder +
                        "relationship.txt;" + named + ";CUIDList.txt" + Suffix + "=" + folder +
                        "CUIDList.txt;runPublishUtil.bat" + Suffix + "=" + batch +
                        ";win32_x86=C:\\bin\\");
    EXPECT_EQ(Property("ADD_LUMO_DOCS_COMMAND"), "cmd /c \"" + batch + "\" ");

    ClearMessages();
    Publish(data);
    std::string slashed = folder;
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    EXPECT_EQ(FileText(properties),
              Properties("cms:6400", "C:/Program Files/Samples/unv/", "",
                         slashed + "relationship.txt", "C:/docs", slashed + "CUIDList.txt"));
    EXPECT_EQ(FileText(batch), Batch("java"));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(PublishingTest, JavaIsTheRegisteredRuntimeOrElseTheKit) {
    const auto expect = [&](const std::string& java, const char* what) {
        Publish(named);
        EXPECT_EQ(FileText(batch), Batch(java)) << what;
    };
    const auto write = [](const std::string& key, const char* name, const char* value) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, key, name, value);
    };
    write(KitKey, "CurrentVersion", "1.4");
    write(std::string(KitKey) + "\\1.4", "JavaHome", "C:\\jdk 1.4");
    expect("\"C:\\jdk 1.4\\bin\\java\"", "the kit");
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, JavaKey);
    expect("java", "a runtime without a version hides the kit");
    write(JavaKey, "CurrentVersion", "1.4.2");
    expect("java", "a runtime without its version's key");
    write(std::string(JavaKey) + "\\1.4.2", "JavaHome", "C:\\j2re1.4.2");
    expect("\"C:\\j2re1.4.2\\bin\\java\"", "the runtime");
}

TEST_F(PublishingTest, DamagedDataWritesNoFileElsewhere) {
    char current[MAX_PATH];
    GetCurrentDirectoryA(sizeof current, current);
    SetCurrentDirectoryA(Scratch().c_str());
    const std::string failed = "failed to open file";
    const std::string longFolder = folder + std::string(300, 'x') + "\\";
    const std::string key = "PublishUtil.properties" + Suffix;
    const struct {
        std::string data;
        std::vector<std::string> log;
    } cases[] = {
        {"", {failed + "runPublishUtil.bat"}},
        {"NAMESERVER=cms;" + key, {}}, // cut off within a pair
        {key + "=PublishUtil.properties", {failed + "runPublishUtil.bat"}},
        {key + "=" + longFolder + "p", {failed + longFolder + "runPublishUtil.bat"}},
    };
    for (const auto& row : cases) {
        ClearMessages();
        Publish(row.data);
        EXPECT_EQ(Log(), row.log) << row.data;
        EXPECT_FALSE(IsThere("runPublishUtil.bat")) << row.data;
        EXPECT_FALSE(IsThere("PublishUtil.properties")) << row.data;
    }
    SetCurrentDirectoryA(current);

    // A properties file that cannot be written stops the batch file no more
    // than a text cut off within a value does.
    CreateDirectoryA(properties.c_str(), nullptr);
    ClearMessages();
    Publish(named + ";NAMESER=x");
    EXPECT_EQ(FileText(batch), Batch("java"));
    EXPECT_THAT(Log(), IsEmpty());
    RemoveDirectoryA(properties.c_str());
    // A batch file that cannot be written leaves the properties file.
    DeleteFileA(batch.c_str());
    CreateDirectoryA(batch.c_str(), nullptr);
    ClearMessages();
    Publish(named + ";NAMESERVER=cms");
    EXPECT_EQ(FileText(properties), Properties("cms", "", "", "", "", ""));
    EXPECT_THAT(Log(), ElementsAre(failed + batch));
}
