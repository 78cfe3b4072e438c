# Makes the authoring kit: cmake -D SOURCES=FOLDER -D KIT=FOLDER -P kit.cmake
# Copies package/kit of the sources into KIT and writes setupactions.wxi there
# from the catalogue and the list of action data.
cmake_minimum_required(VERSION 3.21)

# An immediate row, or with a third word (deferred) a deferred, elevated one.
function(row id entry)
    set(execute "")
    if(ARGC GREATER 2)
        set(execute " Execute=\"deferred\" Impersonate=\"no\"")
    endif()
    string(APPEND rows "  <CustomAction Id=\"${id}\" BinaryKey=\"setupactions\" DllEntry=\"${entry}\"${execute} />\n")
    set(rows "${rows}" PARENT_SCOPE)
endfunction()

file(STRINGS ${SOURCES}/exports/catalogue.inc catalogue REGEX "^SETUP_ACTION\\(")
file(STRINGS ${SOURCES}/exports/action_data.inc actionData REGEX "^ACTION_DATA\\(")

set(rows "")
foreach(line IN LISTS catalogue)
    if(NOT line MATCHES "^SETUP_ACTION\\(([A-Za-z0-9]+), (Immediate|Deferred|Both), \"(.*)\"\\)$")
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
    endforeach()
    if(when STREQUAL "Both")
        row(${name}Immediate ${name})
    endif()
endforeach()

file(COPY ${SOURCES}/package/kit/ DESTINATION ${KIT})
file(WRITE ${KIT}/setupactions.wxi "<?xml version=\"1.0\" encoding=\"utf-8\"?>
<!-- Made from the library's list of actions: the DLL and a row for each action.
     Include it in the Product; the package schedules what it needs. -->
<Include xmlns=\"http://schemas.microsoft.com/wix/2006/wi\">
  <Binary Id=\"setupactions\" SourceFile=\"setupactions.dll\" />

${rows}</Include>
")
