# What every target of this project is built with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

option(QM_WERROR "Treat warnings as errors" ON)
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(QM_WERROR)
    add_compile_options(-Werror)
endif()

option(QM_COVERAGE "Count the lines of the library that run, for tests/coverage" OFF)
if(QM_COVERAGE)
    # In tests that compile sources of the library for themselves, too.
    add_compile_options(--coverage -fprofile-update=atomic "-fprofile-filter-files=^${PROJECT_SOURCE_DIR}/src(_shared)?/")
    add_link_options(--coverage)
endif()

if(QM_SANITIZE)
    add_compile_options(-fsanitize=${QM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${QM_SANITIZE})
endif()

find_package(Threads REQUIRED)
