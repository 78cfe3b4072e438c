# Makes the authoring kit: cmake -D SOURCES=FOLDER -D KIT=FOLDER -P kit.cmake
# Copies package/kit of the sources into KIT and writes there, from the catalogue, the
# lists of action data, rollback and properties, the usual schedule and the tables:
# setupactions.wxi for wixl and WiX 3, setupactions-wix3.wxi with what WiX 3 can declare
# beside it, setupactions-wix4.wxs for WiX 4, and secure-properties.txt.
cmake_minimum_required(VERSION 3.21)
include(${CMAKE_CURRENT_LIST_DIR}/kit_tables.cmake)

# An immediate row, or with a third word (deferred, rollback, commit) an elevated one
# of the installer's script.
function(row id entry)
    set(execute "")
    if(ARGC GREATER 2)
        set(execute " Execute=\"${ARGV2}\" Impersonate=\"no\"")
    endif()
    string(APPEND rows "  <CustomAction Id=\"${id}\" BinaryKey=\"setupactions\" DllEntry=\"${entry}\"${execute} />\n")
    set(rows "${rows}" PARENT_SCOPE)
endfunction()

file(STRINGS ${SOURCES}/exports/catalogue.inc catalogue REGEX "^SETUP_ACTION\\(")
file(STRINGS ${SOURCES}/exports/rollback.inc takenBack REGEX "^TAKEN_BACK\\(")
list(TRANSFORM takenBack REPLACE "^TAKEN_BACK\\(([A-Za-z]+),.*" "\\1")
file(STRINGS ${SOURCES}/exports/action_data.inc actionData REGEX "^ACTION_DATA\\(")

set(rows "")
foreach(line IN LISTS catalogue)
    if(NOT line MATCHES "^SETUP_ACTION\\(([A-Za-z0-9]+), [a-z]+, (Immediate|Deferred|Both), \"(.*)\"\\)$")
        message(FATAL_ERROR "exports/catalogue.inc: not a row: ${line}")
    endif()
    set(name ${CMAKE_MATCH_1})
    set(when ${CMAKE_MATCH_2})
    string(APPEND rows "  <!-- ${name}: ${CMAKE_MATCH_3} -->\n")
    if(when STREQUAL "Immediate")
        row(${name} ${name})
        continue()
    endif()
    # The Ids that the action's data is handed to, where they are fixed.
    set(ids ${actionData})
    list(FILTER ids INCLUDE REGEX "^ACTION_DATA\\(${name}, \"[A-Za-z]")
    list(TRANSFORM ids REPLACE "^ACTION_DATA\\([A-Za-z0-9]+, \"([^\"]+)\".*" "\\1")
    list(REMOVE_DUPLICATES ids)
    if(NOT ids)
        set(ids ${name})
    endif()
    foreach(id IN LISTS ids)
        row(${id} ${name} deferred)
        if(name IN_LIST takenBack)
            row(${id}Rollback ${name} rollback)
            list(APPEND undoneIds ${id})
        endif()
    endforeach()
    if(when STREQUAL "Both")
        row(${name}Immediate ${name})
    endif()
endforeach()

# schedule_row(LINE): the fields of a row of the schedule; the condition as XML has it.
macro(schedule_row line)
    if(NOT "${line}" MATCHES "^([A-Za-z]+) +([A-Za-z0-9_.]+) +([0-9]+),?([0-9]*) *(.*)$")
        message(FATAL_ERROR "exports/schedule.txt: not a row: ${line}")
    endif()
    set(task ${CMAKE_MATCH_1})
    set(id ${CMAKE_MATCH_2})
    set(number ${CMAKE_MATCH_3})
    set(uiNumber "${CMAKE_MATCH_4}")
    set(condition "${CMAKE_MATCH_5}")
    string(REPLACE "<" "&lt;" condition "${condition}")
    string(REPLACE ">" "&gt;" condition "${condition}")
endmacro()

# The usual schedule: what a task needs, when the package wants the task.
file(STRINGS ${SOURCES}/exports/schedule.txt schedule REGEX "^[^#]")
set(sequence "")
set(uiSequence "")
set(lastTask "")
foreach(line IN LISTS schedule)
    schedule_row("${line}")
    if(id MATCHES "^Set(.+)Rollback$")
        set(of ${CMAKE_MATCH_1})
        string(APPEND rows "  <CustomAction Id=\"${id}\" Property=\"${of}Rollback\" Value=\"[${of}]\" />\n")
    elseif(id MATCHES "^(.+)Rollback$")
        string(APPEND rows "  <!-- ${CMAKE_MATCH_1}, when the installation fails -->\n")
        row(${id} ${CMAKE_MATCH_1} rollback)
    endif()
    if(condition STREQUAL "")
        set(end " />")
    else()
        string(REPLACE "$C" "$(var.Dollar)$(var.Schedule${task})" condition "${condition}")
        string(REPLACE "$U" "$(var.UpgradeProperty)" condition "${condition}")
        string(REPLACE "?C" "?$(var.Schedule${task})" condition "${condition}")
        set(end ">${condition}</Custom>")
    endif()
    if(id STREQUAL "GetWebInfo")
        set(webTask ${task})
    endif()
    if(NOT uiNumber STREQUAL "")
        string(APPEND uiSequence "  <?ifdef var.Schedule${task}?>
    <Custom Action=\"${id}\" Sequence=\"${uiNumber}\"${end}
  <?endif?>\n")
    endif()
    if(NOT task STREQUAL lastTask)
        if(NOT lastTask STREQUAL "")
            string(APPEND sequence "  <?endif?>\n")
        endif()
        string(APPEND sequence "  <?ifdef var.Schedule${task}?>\n")
        set(lastTask ${task})
    endif()
    if(id IN_LIST undoneIds)
        math(EXPR before "${number} - 1")
        string(APPEND sequence "    <?ifndef var.NoRollback?>
    <?define UndoRecords = yes ?>
    <Custom Action=\"${id}Rollback\" Sequence=\"${before}\"${end}
    <?endif?>\n")
    endif()
    string(APPEND sequence "    <Custom Action=\"${id}\" Sequence=\"${number}\"${end}\n")
endforeach()
string(APPEND sequence "  <?endif?>
  <?ifdef var.UndoRecords?>
    <Custom Action=\"SetUndoRecordsCommit\" Sequence=\"1501\" />
    <Custom Action=\"UndoRecordsCommit\" Sequence=\"6580\" />
  <?endif?>\n")

# The properties that tell GetWebInfo the Ids of the actions it hands its data to.
set(properties "")
foreach(line IN LISTS actionData)
    if(line MATCHES "^ACTION_DATA\\(([A-Za-z]+), \"\\[([A-Za-z]+)\\]\", GetWebInfo\\)")
        string(APPEND properties "  <Property Id=\"${CMAKE_MATCH_2}\" Value=\"${CMAKE_MATCH_1}\" />\n")
    endif()
endforeach()

# Any action with records deletes them all; its commit run is told the product.
set(actionRows "${rows}")
set(rows "  <CustomAction Id=\"SetUndoRecordsCommit\" Property=\"UndoRecordsCommit\" Value=\"[ProductCode]\" />\n")
row(UndoRecordsCommit StopAPSService commit)
set(undoRows "${rows}")

# What SecureCustomProperties must name, which WiX makes of Property elements alone. A
# package that declares one of them itself says so by the define.
file(STRINGS ${SOURCES}/exports/properties.inc secure REGEX "^SECURE_PROPERTY\\(")
list(TRANSFORM secure REPLACE "^SECURE_PROPERTY\\(\"([^\"]+)\".*" "\\1")
set(secureElements "")
foreach(name IN LISTS secure)
    string(APPEND secureElements
        "  <?ifndef var.Own_${name}?><Property Id=\"${name}\" Secure=\"yes\" /><?endif?>\n")
endforeach()

set(tableElements "")
file(GLOB tables ${SOURCES}/package/kit/tables/*.idt)
foreach(file IN LISTS tables)
    table_element(element ${file})
    list(APPEND tableElements "${element}")
endforeach()

file(COPY ${SOURCES}/package/kit/ DESTINATION ${KIT})
list(JOIN secure "\n" secureNames)
file(WRITE ${KIT}/secure-properties.txt "${secureNames}\n")
file(WRITE ${KIT}/setupactions.wxi "<?xml version=\"1.0\" encoding=\"utf-8\"?>
<!-- Made from the library's lists: the DLL, a row for each action, and the usual
     schedule of the tasks that the package names before it includes this. -->
<Include xmlns=\"http://schemas.microsoft.com/wix/2006/wi\">
  <!-- A dollar sign before a variable: wixl and WiX escape it differently. -->
  <?define Dollar = \"$\" ?>
  <!-- Says that an older version is here, as MajorUpgrade names it. -->
  <?ifndef var.UpgradeProperty?><?define UpgradeProperty = WIX_UPGRADE_DETECTED ?><?endif?>
  <Binary Id=\"setupactions\" SourceFile=\"setupactions.dll\" />

${actionRows}  <!-- Deletes the records of changes once the installation has succeeded -->
${undoRows}
  <?ifdef var.Schedule${webTask}?>
${properties}  <?endif?>

  <InstallUISequence>
${uiSequence}  </InstallUISequence>
  <InstallExecuteSequence>
${sequence}  </InstallExecuteSequence>
</Include>
")

set(tables3 "${tableElements}")
list(TRANSFORM tables3 REPLACE "Category=\"t" "Category=\"T")
list(TRANSFORM tables3 REPLACE "Category=\"i" "Category=\"I")
list(JOIN tables3 "" tables3)
file(WRITE ${KIT}/setupactions-wix3.wxi "<?xml version=\"1.0\" encoding=\"utf-8\"?>
<!-- Made from the library's lists, for WiX 3 alone: what SecureCustomProperties names,
     and the tables, so that their rows stand in the source. -->
<Include xmlns=\"http://schemas.microsoft.com/wix/2006/wi\">
${secureElements}
${tables3}</Include>
")

include(${CMAKE_CURRENT_LIST_DIR}/kit_wix4.cmake)
