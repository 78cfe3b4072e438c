// Publishing the sample content: the publishing utility's properties file and the
// batch file that starts it.
#include "exports/action.h"
#include "frame/ansi_text.h"
#include "frame/deferred_data.h"
#include "frame/file_changes.h"
#include "frame/files.h"
#include "frame/guard.h"
#include "frame/known_keys.h"
#include "frame/machine_registry.h"
#include "frame/paths.h"
#include "frame/programs.h"
#include "frame/session.h"

namespace setupactions {

namespace {

// The deferred action and the names of what it is handed.
const char PublishAction[] = "AddLumoSamples.51E1B228_523E_4858_8B11_C7BA1538A57C";
const char NameServer[] = "NAMESERVER";
const char Universes[] = "unws.51E1B228_523E_4858_8B11_C7BA1538A57C";
const char Documents[] = "UserDocs.51E1B228_523E_4858_8B11_C7BA1538A57C";
const char Connections[] = "dataconnections.51E1B228_523E_4858_8B11_C7BA1538A57C";
const char Relationships[] = "relationship.txt.51E1B228_523E_4858_8B11_C7BA1538A57C";
const char Properties[] = "PublishUtil.properties.51E1B228_523E_4858_8B11_C7BA1538A57C";
const char ObjectList[] = "CUIDList.txt.51E1B228_523E_4858_8B11_C7BA1538A57C";
const char Batch[] = "runPublishUtil.bat.51E1B228_523E_4858_8B11_C7BA1538A57C";
const char BinaryFolder[] = "win32_x86";

const char CommandProperty[] = "ADD_LUMO_DOCS_COMMAND";

const char BatchFile[] = "runPublishUtil.bat";
const char ClassPath[] = "publishUtil.jar;vxcore.jar;vxlib.jar;vxplugins.jar;vxsession.jar;"
                         "corbaidl.jar;ebus405.jar;xercesImpl.jar;xml-apis.jar";

enum class Source { Fixed, Value, Path };

// One line of the properties file.
struct PropertyLine {
    const char* key;
    Source source;
    const char* text; // what is written, or the name that it is handed over under
};

const PropertyLine PropertyLines[] = {
    {"CMS", Source::Value, NameServer},
    {"PublishUniverse", Source::Fixed, "y"},
    {"UniverseDirectory", Source::Path, Universes},
    {"DataConnectionDirectory", Source::Path, Connections},
    {"RelationFile", Source::Path, Relationships},
    {"PublishDoc", Source::Fixed, "y"},
    {"FileFolderDirectory", Source::Path, Documents},
    {"CUIDList", Source::Path, ObjectList},
    {"FolderName", Source::Fixed, "Root Folder"},
    {"Overwrite", Source::Fixed, "y"},
    {"AssociateCategory", Source::Fixed, "y"},
    {"GenerateNewCuid", Source::Fixed, ""},
    {"PublishCorporateDashboardMenu", Source::Fixed, "n"},
    {"CorporateDashboardPublishedFolder", Source::Fixed, "Performance Management"},
    {"SI_HAS_PROMPT", Source::Fixed, "0"},
};

std::string PropertiesText(const CDeferredData& data) {
    std::string text;
    for (const PropertyLine& line : PropertyLines) {
        std::string value = line.text;
        if (line.source != Source::Fixed)
            data.Lookup(line.text, value);
        if (line.source == Source::Path)
            value = WithSlashes(value);
        text += Format("%s=%s\r\n", line.key, value.c_str());
    }
    return text;
}

// What precedes "java" in the command: a quote and the folder of the machine's Java,
// or nothing. A development kit does not make up for a runtime that is registered but
// broken.
std::string JavaPrefix() {
    for (const std::string key : {JavaRuntimeKey, JavaKitKey}) {
        if (!MachineKeyOpens(key.c_str()))
            continue;
        std::string version, home;
        return ReadMachineText(key, "CurrentVersion", version) &&
                       ReadMachineText(Format("%s\\%s", key.c_str(), version.c_str()), "JavaHome",
                                       home)
                   ? "\"" + home + "\\bin\\"
                   : "";
    }
    return "";
}

std::string BatchText(const std::string& folder, const std::string& propertiesFile) {
    const std::string java = JavaPrefix();
    return Format("cd /d \"%s\"\r\n"
                  "%sjava%s -classpath %s com.tarnwick.util.PublishUtil \"%s\"\r\n",
                  folder.c_str(), java.c_str(), java.empty() ? "" : "\"", ClassPath,
                  propertiesFile.c_str());
}

// The command line that runs the batch file. Where the command processor drops the
// outer quotes, a second pair around the first is there to be dropped.
std::string BatchCommand(const std::string& batchFile) {
    const std::string quoted = "\"" + batchFile + "\" ";
    if (FindCharacter(batchFile, CommandProcessorCharacters) == std::string::npos)
        return "cmd /c " + quoted;
    return "cmd /c \"" + quoted + "\"";
}

bool WriteRecorded(UndoRecord& record, const std::string& path, const std::string& text) {
    if (IsFullPath(path)) // only such a path is written
        RecordFile(record, path);
    return WriteNewFile(path, text) == FileWrite::Whole;
}

void WritePublishingFiles(MSIHANDLE session) {
    UndoRecord record(session, "PublishDemo");
    const CDeferredData data(session, PublishAction);
    std::string propertiesFile, drive, directory;
    data.Lookup(Properties, propertiesFile);
    // The utility itself reports that it is missing.
    WriteRecorded(record, propertiesFile, PropertiesText(data));

    SplitPath(propertiesFile, &drive, &directory, nullptr, nullptr);
    const std::string folder = drive + directory;
    const std::string batchFile = folder + BatchFile;
    if (!WriteRecorded(record, batchFile, AnsiToOem(BatchText(folder, propertiesFile))))
        LogMessage(session, "failed to open file" + batchFile);
}

} // namespace

// Scheduled immediate, after costing. Reads NAMESERVER and the samples' files
// and folders; sets ADD_LUMO_DOCS_COMMAND and the data of PublishDemo, its
// partner, which is scheduled as AddLumoSamples.51E1B228_...
EXPORTED_ACTION(PublishDemoHelper) {
    const bool gathered = RunGuarded([&] {
        CDeferredData data(session, PublishAction);
        for (const char* name : {NameServer, Universes, Documents, Connections})
            data.AddProperty(name);
        for (const char* key : {Relationships, Properties, ObjectList, Batch})
            data.AddFileKey(key);
        data.AddProperty(BinaryFolder);

        std::string batchFile;
        data.Lookup(Batch, batchFile);
        MsiSetPropertyA(session, CommandProperty, BatchCommand(batchFile).c_str());
    });
    if (!gathered)
        LogMessage(session, "PublishDemoHelper: the data handed over so far is damaged");
    return ERROR_SUCCESS;
}

// Scheduled deferred as AddLumoSamples.51E1B228_..., before the package runs
// ADD_LUMO_DOCS_COMMAND. Reads CustomActionData; writes the publishing
// utility's properties file and batch file. Partner: PublishDemoHelper.
EXPORTED_ACTION(PublishDemo) {
    if (TakesBack(session, "PublishDemo", UndoFileChanges))
        return ERROR_SUCCESS;
    Guarded(session, "PublishDemo: the action data is damaged, nothing is written",
            [&] { WritePublishingFiles(session); });
    return ERROR_SUCCESS;
}

} // namespace setupactions
