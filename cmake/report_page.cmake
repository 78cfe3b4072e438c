# report_page(target): gives the target "tools/logreport/page.h", which holds what stands
# around the body of the log report's page.
function(report_page target)
    set(source ${PROJECT_SOURCE_DIR}/tools/logreport)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source}/page.html)
    file(READ ${source}/page.html page)
    string(FIND "${page}" "@BODY@" body)
    string(SUBSTRING "${page}" 0 ${body} PAGE_HEAD)
    math(EXPR tail "${body} + 6")
    string(SUBSTRING "${page}" ${tail} -1 PAGE_TAIL)
    set(made ${CMAKE_CURRENT_BINARY_DIR}/made)
    configure_file(${source}/page.h.in ${made}/tools/logreport/page.h @ONLY)
    target_include_directories(${target} PRIVATE ${made})
endfunction()
