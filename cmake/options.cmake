# Compiler and linker settings of everything that this project builds.

add_library(build_options INTERFACE)
target_compile_definitions(build_options INTERFACE
    WIN32_LEAN_AND_MEAN NOMINMAX
    WINVER=0x0501 _WIN32_WINNT=0x0501 _WIN32_MSI=300
)

if(MSVC)
    # No thread-safe local statics: they take thread-local storage, which Windows
    # XP does not give to a library that is loaded later.
    target_compile_options(build_options INTERFACE
        /utf-8 /W4 /WX /EHsc /sdl /guard:cf /Zc:threadSafeInit-)
    target_link_options(build_options INTERFACE /DYNAMICBASE /NXCOMPAT /GUARD:CF)
else()
    # The installer writes the DLL anew for every action that runs: small counts for
    # more than fast.
    string(REPLACE "-O2" "-Os" CMAKE_CXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
    target_compile_options(build_options INTERFACE
        -Wall -Wextra -Wconversion -Wmissing-declarations -Werror
        -fstack-protector-strong -ffunction-sections -fdata-sections
        $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>
        # No copies of functions for some of their callers, which every object would
        # hold anew; no locks around local statics: an action runs on one thread.
        -fno-ipa-sra -fno-ipa-cp -fno-threadsafe-statics
    )
    # -static keeps the compiler's own libraries inside: only system DLLs are
    # imported. Neither time stamps nor chosen base addresses: the same sources
    # give the same bytes.
    target_link_options(build_options INTERFACE
        -static -fstack-protector-strong -Wl,--gc-sections
        -Wl,--dynamicbase -Wl,--nxcompat
        -Wl,--no-insert-timestamp -Wl,--disable-auto-image-base
        # Read by scripts/size.sh.
        -Wl,-Map=$<TARGET_FILE:$<TARGET_PROPERTY:NAME>>.map
    )
    add_library(small_runtime OBJECT
        ${PROJECT_SOURCE_DIR}/frame/small_runtime.cpp ${PROJECT_SOURCE_DIR}/frame/tick_count.cpp)
    target_include_directories(small_runtime PRIVATE ${PROJECT_SOURCE_DIR})
    target_sources(build_options INTERFACE $<TARGET_OBJECTS:small_runtime>)
endif()

option(UNITY "Compile the sources of a folder together: faster, and the DLL is a tenth smaller" ON)

# compile_together(TARGET SOURCE ...): the sources of each top folder as one.
function(compile_together target)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ${UNITY} UNITY_BUILD_MODE GROUP)
    foreach(source IN LISTS ARGN)
        string(REGEX REPLACE "/.*" "" folder ${source})
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${folder})
    endforeach()
endfunction()
