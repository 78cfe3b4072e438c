# What the library's actions did in one or more installer runs: one line per action,
# with its result in each run and what it changed in the first run that changed
# anything. With -v whole=1: every change of every run, one per line.
#   awk -v runs="install remove" [-v whole=1] -f action_report.awk \
#       catalogue.inc install.trace install.log remove.trace remove.log
# The results come from the logs (msiexec /l*v), the changes from the engine's traces
# (WINEDEBUG=trace+msi,trace+file,trace+reg,trace+service,trace+process): every call
# between an action's start and its end, by the action or by a program that it runs,
# counts as the action's work.

BEGIN {
    WIDTH = 150
    LONGEST_VALUE = 32
    # Written by every program of the engine, and its script host, on start-up.
    ENGINES_OWN_KEYS = "Time Zone|TimeZone|Keyboard Layout|Fonts|MUI|Shell Folders|Classes\\\\(Typelib|Interface)\\\\"
}

# The text of the n-th quoted string of a trace line.
function quoted(n,    rest, text, letter) {
    rest = $0
    while (n-- > 0) {
        if (!match(rest, /L?"/)) return ""
        rest = substr(rest, RSTART + RLENGTH)
        text = ""
        while (rest != "" && (letter = substr(rest, 1, 1)) != "\"") {
            if (letter == "\\") { rest = substr(rest, 2); letter = substr(rest, 1, 1) }
            text = text letter
            rest = substr(rest, 2)
        }
        rest = substr(rest, 2)
    }
    return text
}
# The handle that a call's list of arguments begins with: "(0x38,L...".
function handle_of(arguments) { gsub(/^\(+|[,)].*/, "", arguments); return arguments }
function joined(root, path) { return root == "" || path == "" ? root path : root "\\" path }
function last_part(path) { sub(/\\+$/, "", path); sub(/.*\\/, "", path); return path }
function cut(text, letters) { return length(text) > letters ? substr(text, 1, letters - 3) "..." : text }
# The Id in "Action ended 5:16:19: Id. Return value 1."
function id_of_line(    id) { id = $4; sub(/\.\r?$/, "", id); return id }

# Records a change of the running action once, in short and in full.
function changed(verb, short, full) {
    if ((run, action, verb, full) in noted) return
    noted[run, action, verb, full] = 1
    if (whole) printf "%-8s %-34s %-12s %s\n", run, action, verb, full
    if ((run, action, verb, short) in listed) return
    listed[run, action, verb, short] = 1
    if (!((run, action, verb) in objects)) verbs[run, action] = verbs[run, action] verb ";"
    objects[run, action, verb] = objects[run, action, verb] (objects[run, action, verb] == "" ? "" : ", ") short
}
function file_changed(verb, path) {
    if (path !~ /\\[Tt]emp\\|\.tmp$|^[^\\]*\$$|^\\\\/) changed(verb, last_part(path), path)
}

FNR == 1 {
    kind = run = FILENAME
    gsub(/.*\/|\.[^.]*$/, "", run)
    sub(/.*\./, "", kind)
    action = ""
}
kind == "inc" && /^SETUP_ACTION\(/ {
    gsub(/^SETUP_ACTION\(|,.*/, "")
    actions[++count] = $0
    known[$0] = 1
}

kind == "log" && /^Action start / { said = ""; next }
kind == "log" && /^Action ended / && (run, id_of_line()) in entry {
    name = entry[run, id_of_line()]
    value = $NF + 0
    if (result[run, name] == "" || value != 1) result[run, name] = value == 1 ? "ok" : value == 2 ? "ended" : "failed"
    if (!(name in words) && said != "") words[name] = said
}
kind == "log" && !/^Action / {
    said = $0
    gsub(/\r$|^[0-9\/]+, [0-9:]+: */, "", said)
}

kind != "trace" { next }
{ thread = substr($0, 1, 4) }
# An odd third digit of the type, in hexadecimal, marks a rollback action: it is
# planned, but does not run.
/:ACTION_CustomAction Handling custom action L"/ && quoted(3) in known &&
    !/" \([0-9a-f]?[13579bdf][0-9a-f][0-9a-f] L"/ {
    entry[run, quoted(1)] = quoted(3)
}
/:HANDLE_CustomType1 Calling function L"/ && quoted(1) in known {
    action = quoted(1)
    installer = thread
    waiting = 0
    next
}
# The installer's thread waits while the action runs; its next line marks the end.
action != "" && thread == installer {
    if (/:wait_thread_handle/) waiting = 1
    else if (waiting) action = ""
}
/:msi_set_property / {
    name = quoted(1)
    value = quoted(2)
    if (action != "" && value != properties[name]) {
        short = name
        sub(/\..*/, "", short)
        changed("sets", short "=" cut(value, LONGEST_VALUE), name "=" value)
    }
    properties[name] = value
}
/:reg:(NtOpenKeyEx|NtCreateKey) \(/ { opened[thread] = joined(keys[thread, handle_of($2)], quoted(1)) }
/:reg:(NtOpenKeyEx|NtCreateKey) <- / { keys[thread, $NF] = opened[thread] }
/:service:OpenService/ { service[thread] = quoted(1) }

action == "" { next }
/:MSI_SetFeatureStateW / { changed($NF == 2 ? "deselects" : "selects", quoted(1), quoted(1)) }
# A file counts as written once it has been opened for writing.
/:CreateFileW L".* GENERIC_WRITE / { writing[thread] = quoted(1) }
/:CreateFileW returning / {
    if (writing[thread] != "" && $NF != "FFFFFFFF") file_changed("writes", writing[thread])
    writing[thread] = ""
}
/:(CopyFileExW|MoveFileWithProgressW) / { file_changed("writes", quoted(2)) }
/:ReplaceFileW / { file_changed("writes", quoted(1)) }
/:(DeleteFileW|RemoveDirectoryW) / { file_changed("deletes", quoted(1)) }
/:reg:(NtSetValueKey|NtDeleteValueKey|NtDeleteKey) / {
    path = joined(keys[thread, handle_of($2)], quoted(1))
    if (path !~ ENGINES_OWN_KEYS) changed(/:NtSet/ ? "registers" : "unregisters", last_part(path), path)
}
/:service:StartService/ { changed("starts", service[thread], service[thread]) }
/:service:ControlService .* 1 / { changed("stops", service[thread], service[thread]) }
/:service:DeleteService/ { changed("deletes", service[thread], service[thread]) }
/:service:ChangeServiceConfig/ { changed("reconfigures", service[thread], service[thread]) }
/:CreateProcessInternalW app / && !/conhost|msiexec.exe -Embedding/ {
    line = program = quoted(/app \(null\)/ ? 1 : 2)
    if (sub(/^"/, "", program)) sub(/".*/, "", program)
    else if (match(program, /\.(exe|bat)/)) program = substr(program, 1, RSTART + RLENGTH - 1)
    else sub(/ .*/, "", program)
    changed("runs", last_part(program), line)
}

END {
    if (whole) exit
    runCount = split(runs, runNames, " ")
    printf "%-35s", "action"
    for (r = 1; r <= runCount; ++r) printf "%-8s", runNames[r]
    print "what it changed"
    for (a = 1; a <= count; ++a) {
        name = actions[a]
        line = sprintf("%-35s", name)
        text = ""
        ran = 0
        for (r = 1; r <= runCount; ++r) {
            run = runNames[r]
            line = line sprintf("%-8s", (run, name) in result ? result[run, name] : "-")
            if ((run, name) in result) ran = 1
            if (text != "" || verbs[run, name] == "") continue
            verbCount = split(verbs[run, name], list, ";") - 1
            for (v = 1; v <= verbCount; ++v)
                text = text (v > 1 ? "; " : r > 1 ? run ": " : "") list[v] " " objects[run, name, list[v]]
        }
        if (text == "" && name in words) text = "logs \"" words[name] "\""
        if (text == "") text = ran ? "no changes" : "(not run)"
        print cut(line text, WIDTH)
    }
}
