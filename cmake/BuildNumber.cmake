# The build number shown in the frame's caption: the count of commits of the checkout, or 0
# when the source is not a git checkout.
find_package(Git QUIET)
set(TESSARINE_BUILD_NUMBER 0)
if(GIT_FOUND)
    execute_process(COMMAND ${GIT_EXECUTABLE} rev-list --count HEAD
                    WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
                    OUTPUT_VARIABLE _bx_count OUTPUT_STRIP_TRAILING_WHITESPACE
                    RESULT_VARIABLE _bx_rc ERROR_QUIET)
    if(_bx_rc EQUAL 0 AND _bx_count MATCHES "^[0-9]+$")
        set(TESSARINE_BUILD_NUMBER ${_bx_count})
    endif()
endif()
configure_file(${CMAKE_SOURCE_DIR}/cmake/BuildInfo.h.in ${CMAKE_BINARY_DIR}/generated/BuildInfo.h @ONLY)
