# What kit.cmake has read, as a source for WiX 4 and later: a fragment with the DLL and
# the rows, one for each task's schedule, one for each table.

# The standard actions that WiX schedules or may be asked for, with their numbers.
set(standardActions
    LaunchConditions 100 ValidateProductID 700 CostInitialize 800 FileCost 900 CostFinalize 1000
    InstallValidate 1400 InstallInitialize 1500 ProcessComponents 1600 UnpublishFeatures 1800
    StopServices 1900 DeleteServices 2000 RemoveRegistryValues 2600 RemoveFiles 3500 RemoveFolders 3600
    InstallFiles 4000 WriteRegistryValues 5000 InstallODBC 5400 InstallServices 5800 StartServices 5900
    RegisterUser 6000 PublishProduct 6400 InstallFinalize 6600)

# standard_neighbours(NUMBER): the actions around a number, in before and after, and
# their numbers, in from and to; none is after the last.
function(standard_neighbours number)
    set(before "")
    set(after "")
    set(names ${standardActions})
    while(names)
        list(POP_FRONT names name own)
        if(own GREATER number)
            set(after ${name})
            set(to ${own})
            break()
        endif()
        set(before ${name})
        set(from ${own})
    endwhile()
    foreach(result before after from to)
        set(${result} "${${result}}" PARENT_SCOPE)
    endforeach()
endfunction()

# A fragment stands around what other dialects have at the top.
foreach(lines actionRows undoRows properties secureElements tableElements)
    string(REPLACE " BinaryKey=" " BinaryRef=" ${lines} "${${lines}}")
    string(REPLACE "\n  " "\n    " ${lines} "${${lines}}")
    list(TRANSFORM ${lines} PREPEND "  ")
endforeach()

# The scheduled rows, one list for each field, and the tasks between two standard actions.
set(tasks "")
set(ids "")
foreach(line IN LISTS schedule)
    schedule_row("${line}")
    standard_neighbours(${number})
    list(APPEND tasks ${task})
    list(APPEND ids ${id})
    list(APPEND numbers ${number})
    list(APPEND tasksAfter_${before} ${task})
    list(APPEND idsAfter_${before} "${number} ${id}")
    string(REPLACE "\"" "&quot;" condition "${condition}")
    string(REPLACE "$C" "$!(wix.Schedule${task})" condition "${condition}")
    string(REPLACE "?C" "?!(wix.Schedule${task})" condition "${condition}")
    string(REPLACE "$U" "!(wix.UpgradeProperty)" condition "${condition}")
    if(NOT condition STREQUAL "")
        string(PREPEND condition " Condition=\"")
        string(APPEND condition "\"")
    endif()
    set(condition_${id} "${condition}")
    set(uiNumber_${id} "${uiNumber}")
endforeach()

# place(OUT ID NUMBER): where a row stands: beside a standard action, or the row of its
# task next to it, where no other task comes in between; else by its number, which
# alone tells the order of two tasks.
function(place out id number)
    standard_neighbours(${number})
    set(sharing ${tasksAfter_${before}})
    list(REMOVE_DUPLICATES sharing)
    list(LENGTH sharing count)
    if(count GREATER 1 OR before STREQUAL "" OR after STREQUAL "")
        set(${out} "Sequence=\"${number}\"" PARENT_SCOPE)
        return()
    endif()
    set(row ${idsAfter_${before}})
    list(SORT row COMPARE NATURAL)
    list(TRANSFORM row REPLACE "^[0-9]+ " "")
    math(EXPR fromBefore "${number} - ${from}")
    math(EXPR toAfter "${to} - ${number}")
    set(side After)
    set(other ${before})
    if(toAfter LESS fromBefore)
        set(side Before)
        set(other ${after})
        list(REVERSE row)
    endif()
    list(FIND row ${id} index)
    if(index GREATER 0)
        math(EXPR index "${index} - 1")
        list(GET row ${index} other)
    endif()
    set(${out} "${side}=\"${other}\"" PARENT_SCOPE)
endfunction()

set(fragments "")
set(uniqueTasks ${tasks})
list(REMOVE_DUPLICATES uniqueTasks)
foreach(wanted IN LISTS uniqueTasks)
    set(sequence "")
    set(uiSequence "")
    set(undo "")
    set(own "")
    foreach(task id number IN ZIP_LISTS tasks ids numbers)
        if(NOT task STREQUAL wanted)
            continue()
        endif()
        set(condition "${condition_${id}}")
        place(where ${id} ${number})
        if(id IN_LIST undoneIds)
            set(undo "    <?ifndef NoRollback?><CustomActionRef Id=\"UndoRecordsCommit\" /><?endif?>\n")
            string(APPEND sequence "      <?ifndef NoRollback?>"
                "<Custom Action=\"${id}Rollback\" Before=\"${id}\"${condition} /><?endif?>\n")
        endif()
        string(APPEND sequence "      <Custom Action=\"${id}\" ${where}${condition} />\n")
        if(NOT uiNumber_${id} STREQUAL "")
            string(APPEND uiSequence "      <Custom Action=\"${id}\" ${where}${condition} />\n")
        endif()
        if(id STREQUAL "GetWebInfo")
            string(APPEND own "${properties}")
        endif()
    endforeach()
    if(uiSequence)
        string(PREPEND uiSequence "    <InstallUISequence>\n")
        string(APPEND uiSequence "    </InstallUISequence>\n")
    endif()
    string(APPEND fragments "
  <Fragment>
    <CustomAction Id=\"Schedule${wanted}\" Property=\"Schedule${wanted}\" Value=\"yes\" />
${own}${undo}${uiSequence}    <InstallExecuteSequence>
${sequence}    </InstallExecuteSequence>
  </Fragment>\n")
endforeach()

set(tableFragments "")
foreach(element IN LISTS tableElements)
    string(APPEND tableFragments "  <Fragment>\n${element}  </Fragment>\n")
endforeach()

file(WRITE ${KIT}/setupactions-wix4.wxs "<?xml version=\"1.0\" encoding=\"utf-8\"?>
<!-- Made from the library's lists, for WiX 4 and later: what a package refers to comes
     with its fragment. CustomActionRef ScheduleTASK brings a task's usual schedule, an
     action's Id its row with the DLL, CustomTableRef a table. -->
<Wix xmlns=\"http://wixtoolset.org/schemas/v4/wxs\">
  <Fragment>
    <Binary Id=\"setupactions\" SourceFile=\"setupactions.dll\" />
    <!-- Says that an older version is here, as MajorUpgrade names it. -->
    <WixVariable Id=\"UpgradeProperty\" Value=\"WIX_UPGRADE_DETECTED\" Overridable=\"yes\" />
    <!-- What the actions read on the server's side. -->
${secureElements}
${actionRows}  </Fragment>

  <!-- Deletes the records of changes once the installation has succeeded. -->
  <Fragment>
${undoRows}    <InstallExecuteSequence>
      <Custom Action=\"SetUndoRecordsCommit\" After=\"InstallInitialize\" />
      <Custom Action=\"UndoRecordsCommit\" Before=\"InstallFinalize\" />
    </InstallExecuteSequence>
  </Fragment>

  <!-- The usual schedule, a fragment for each task: the first row is the task's name,
       and in no sequence. A number stands where several tasks meet. -->${fragments}
  <!-- The tables. -->
${tableFragments}</Wix>
")
