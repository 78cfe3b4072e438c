# Reads exports/catalogue.inc, the one list of all actions, and writes the
# module-definition file from it.

# read_catalogue(OUT): the names of all actions, in the catalogue's order.
function(read_catalogue out)
    set(catalogue ${PROJECT_SOURCE_DIR}/exports/catalogue.inc)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${catalogue})
    file(STRINGS ${catalogue} lines REGEX "^SETUP_ACTION\\(")
    list(TRANSFORM lines REPLACE "^SETUP_ACTION\\(([A-Za-z0-9]+),.*" "\\1")
    set(${out} ${lines} PARENT_SCOPE)
endfunction()

# write_definition_file(FILE): exports every action under its undecorated name.
function(write_definition_file file)
    read_catalogue(actions)
    set(text "LIBRARY setupactions\nEXPORTS\n")
    foreach(action IN LISTS actions)
        # Microsoft's linker finds the decorated name by itself, GNU's is told.
        if(MSVC)
            string(APPEND text "    ${action}\n")
        else()
            string(APPEND text "    ${action}=${action}@4\n")
        endif()
    endforeach()
    file(CONFIGURE OUTPUT ${file} CONTENT "${text}" @ONLY)
endfunction()
