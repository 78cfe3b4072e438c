#include "tests/support/private_registry.h"
#include "tests/support/session_test.h"
#include "tests/support/test_text.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string Suffix = ".51E1B228_523E_4858_8B11_C7BA1538A57C";
const std::string SamplesAction = "AddLumoSamples" + Suffix; // the deferred action
const std::string Java = "SOFTWARE\\JavaSoft\\Java ";

class PublishingTest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        MakeFolders(folder);
    }
    std::vector<std::string> Publish(const std::string& actionData) {
        DeleteFileA(batch.c_str());
        ClearMessages();
        MakeDeferred(actionData);
        EXPECT_EQ(PublishDemo(session), ERROR_SUCCESS);
        return Log();
    }
    // The batch file with this much before "-classpath".
    std::string Batch(const std::string& java) const {
        return "cd /d \"" + folder + "\"\r\n" + java +
               " -classpath publishUtil.jar;vxcore.jar;vxlib.jar;vxplugins.jar;vxsession.jar;"
               "corbaidl.jar;ebus405.jar;xercesImpl.jar;xml-apis.jar "
               "com.tarnwick.util.PublishUtil \"" +
               properties + "\"\r\n";
    }

    const std::string folder = Scratch() + "my samples\\",
                      properties = folder + "PublishUtil.properties",
                      batch = folder + "runPublishUtil.bat",
                      named = "PublishUtil.properties" + Suffix + "=" + properties;
    const PrivateRegistry registry;
};

} // namespace

TEST_F(PublishingTest, TheHelperGathersWhatTheActionWrites) {
    for (const std::string name :
         {"relationship.txt", "PublishUtil.properties", "CUIDList.txt", "runPublishUtil.bat"})
        AddFile(name + Suffix, name);
    SetProperty("INSTALLDIR", folder);
    SetProperty("NAMESERVER", "cms:6400");
    SetProperty(("unws" + Suffix).c_str(), "C:\\Program Files\\Samples\\unv\\");
    SetProperty(("UserDocs" + Suffix).c_str(), "C:\\docs");
    SetProperty("win32_x86", "C:\\bin\\");
    Cost();
    EXPECT_EQ(PublishDemoHelper(session), ERROR_SUCCESS);
    const std::string data = Property(SamplesAction.c_str());
    EXPECT_EQ(data, "NAMESERVER=cms:6400;unws" + Suffix + "=C:\\Program Files\\Samples\\unv\\;" +
                        "UserDocs" + Suffix + "=C:\\docs;relationship.txt" + Suffix + "=" + folder +
                        "relationship.txt;" + named + ";CUIDList.txt" + Suffix + "=" + folder +
                        "CUIDList.txt;runPublishUtil.bat" + Suffix + "=" + batch +
                        ";win32_x86=C:\\bin\\");
    EXPECT_EQ(Property("ADD_LUMO_DOCS_COMMAND"), "cmd /c \"" + batch + "\" ");
    for (const char special : std::string("(&)@^")) { // names cannot hold < > |
        const std::string place = std::string("C:\\Suite ") + special + "\\";
        SetProperty(SamplesAction.c_str(), "");
        MsiSetTargetPathA(session, "INSTALLDIR", place.c_str());
        EXPECT_EQ(PublishDemoHelper(session), ERROR_SUCCESS);
        EXPECT_EQ(Property("ADD_LUMO_DOCS_COMMAND"),
                  "cmd /c \"\"" + place + "runPublishUtil.bat\" \"");
    }

    EXPECT_THAT(Publish(data + ";dataconnections" + Suffix + "=D:\\c"), IsEmpty());
    std::string slashed = folder;
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    EXPECT_EQ(FileText(properties),
              "CMS=cms:6400\r\nPublishUniverse=y\r\n"
              "UniverseDirectory=C:/Program Files/Samples/unv/\r\nDataConnectionDirectory=D:/c\r\n"
              "RelationFile=" +
                  slashed +
                  "relationship.txt\r\nPublishDoc=y\r\nFileFolderDirectory=C:/docs\r\nCUIDList=" +
                  slashed +
                  "CUIDList.txt\r\nFolderName=Root Folder\r\nOverwrite=y\r\nAssociateCategory=y\r\n"
                  "GenerateNewCuid=\r\nPublishCorporateDashboardMenu=n\r\n"
                  "CorporateDashboardPublishedFolder=Performance Management\r\n"
                  "SI_HAS_PROMPT=0\r\n");
    EXPECT_EQ(FileText(batch), Batch("java"));
}

TEST_F(PublishingTest, AValueBringsNeitherPairsNorLinesOfItsOwn) {
    for (const std::string& evil : {"cms;" + named, std::string("cms\r\nOverwrite=n")}) {
        SetProperty("NAMESERVER", evil);
        SetProperty("win32_x86", "C:\\bin\\");
        SetProperty(SamplesAction.c_str(), "");
        ClearMessages();
        EXPECT_EQ(PublishDemoHelper(session), ERROR_SUCCESS);
        EXPECT_THAT(Log(), ElementsAre("NAMESERVER is not handed over: it holds \";\" or a line "
                                       "break"));
        EXPECT_EQ(Property(SamplesAction.c_str()), "win32_x86=C:\\bin\\");
    }
}

TEST_F(PublishingTest, JavaIsTheRegisteredRuntimeOrElseTheKit) {
    const auto expect = [&](const std::string& java, const char* what) {
        Publish(named);
        EXPECT_EQ(FileText(batch), Batch(java)) << what;
    };
    const auto registerJava = [](const std::string& key, const char* version, const char* home) {
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, Java + key, "CurrentVersion", version);
        PrivateRegistry::Write(HKEY_LOCAL_MACHINE, Java + key + "\\" + version, "JavaHome", home);
    };
    registerJava("Development Kit", "1.4", "C:\\jdk \xE4");
    expect("\"C:\\jdk \x84\\bin\\java\"", "the kit, as the command processor reads it");
    PrivateRegistry::Key(HKEY_LOCAL_MACHINE, Java + "Runtime Environment");
    expect("java", "a runtime without a version hides the kit");
    registerJava("Runtime Environment", "1.4.2", "C:\\j2re1.4.2");
    expect("\"C:\\j2re1.4.2\\bin\\java\"", "the runtime");
}

TEST_F(PublishingTest, DamagedDataWritesNoFileElsewhere) {
    SetCurrentDirectoryA(folder.c_str());
    const std::string failed = "failed to open file", name = "PublishUtil.properties";
    EXPECT_THAT(Publish(""), ElementsAre(failed + "runPublishUtil.bat"));
    EXPECT_THAT(Publish(name + Suffix + "=" + name), ElementsAre(failed + "runPublishUtil.bat"));
    EXPECT_THAT(Publish(named + ";NAMESERVER"), // cut off within a pair
                ElementsAre("PublishDemo: the action data is damaged, nothing is written"));
    EXPECT_FALSE(IsThere(batch) || IsThere(properties));
    SetCurrentDirectoryA("C:\\");

    CreateDirectoryA(batch.c_str(), nullptr);
    EXPECT_THAT(Publish(named), ElementsAre(failed + batch));
    EXPECT_EQ(FileText(properties).substr(0, 8), "CMS=\r\nPu") << "what is missing is empty";
}
