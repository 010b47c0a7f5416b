# LUMBRIX_VERSION: the one version of a build, shown by the gateway in its
# first log line, by `lumbrix-sim --version`, and in the name of the
# controller's archive. From `git describe` when the source is a git checkout
# with git at hand: the latest v* tag with the commits since it (v1.2.0-3-gabc1234),
# or, before the first tag, the project version and the commit
# (1.0.0-gabc1234); "-dirty" marks uncommitted changes. Without git it is the
# project version. Worked out at every configure (make runs one before each
# build); only the generated LumbrixVersion.h depends on it, so a new commit
# recompiles the two files that include it.
set(LUMBRIX_VERSION ${PROJECT_VERSION})
find_package(Git QUIET)
if(GIT_FOUND AND EXISTS ${PROJECT_SOURCE_DIR}/.git)
  execute_process(
    COMMAND ${GIT_EXECUTABLE} describe --tags --match "v[0-9]*" --always --dirty
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE git_describe
    OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE git_result
    ERROR_QUIET)
  if(git_result EQUAL 0 AND git_describe MATCHES "^v[0-9]")
    set(LUMBRIX_VERSION ${git_describe})
  elseif(git_result EQUAL 0 AND NOT git_describe STREQUAL "")
    set(LUMBRIX_VERSION ${PROJECT_VERSION}-g${git_describe})
  endif()
endif()
message(STATUS "Lumbrix version ${LUMBRIX_VERSION}")

set(LUMBRIX_VERSION_DIR ${PROJECT_BINARY_DIR}/version)
configure_file(${CMAKE_CURRENT_LIST_DIR}/LumbrixVersion.h.in ${LUMBRIX_VERSION_DIR}/LumbrixVersion.h @ONLY)
