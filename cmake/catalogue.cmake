# Reads exports/catalogue.inc, the one list of all actions, and writes
# module-definition files.

# read_catalogue(OUT): the names of all actions, in the catalogue's order.
function(read_catalogue out)
    set(catalogue ${PROJECT_SOURCE_DIR}/exports/catalogue.inc)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${catalogue})
    file(STRINGS ${catalogue} lines REGEX "^SETUP_ACTION\\(")
    list(TRANSFORM lines REPLACE "^SETUP_ACTION\\(([A-Za-z0-9]+),.*" "\\1")
    set(${out} ${lines} PARENT_SCOPE)
endfunction()

# export_functions(TARGET NAME@BYTES ...): exports stdcall functions, whose
# parameters take so many bytes, under their bare names. The linkers decorate
# differently, and find only decorated names in a library: each gets a file.
# PRIVATE: the functions are looked up at run time, nothing links to them.
function(export_functions target)
    foreach(linker gnu msvc)
        set(text "EXPORTS\n")
        foreach(function IN LISTS ARGN)
            string(REGEX REPLACE "@.*" "" name ${function})
            if(linker STREQUAL "msvc")
                string(PREPEND function "_")
            endif()
            string(APPEND text "    ${name}=${function} PRIVATE\n")
        endforeach()
        file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/definitions/${linker}/${target}.def CONTENT "${text}" @ONLY)
    endforeach()
    if(MSVC)
        set(linker msvc)
    else()
        set(linker gnu)
    endif()
    target_sources(${target} PRIVATE ${PROJECT_BINARY_DIR}/definitions/${linker}/${target}.def)
endfunction()
