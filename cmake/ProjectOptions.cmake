# What the project's targets are built with, said once: link project_options PRIVATE, and test_options in tests.

set(NODEKEEP_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")
option(NODEKEEP_COVERAGE "Build with coverage counters" OFF)

set(CMAKE_CXX_EXTENSIONS OFF)

add_library(common_options INTERFACE)
target_compile_features(common_options INTERFACE cxx_std_20)
target_compile_options(common_options INTERFACE
    -fPIC # the libraries too, as the platform library takes of them; programs share their precompiled headers
    -fvisibility=hidden -fvisibility-inlines-hidden
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-align -Wformat=2 -Wnull-dereference -Wimplicit-fallthrough)
target_compile_definitions(common_options INTERFACE
    _FILE_OFFSET_BITS=64 _TIME_BITS=64 # on 32-bit processors as on others, or larger and later files can't be looked at
    QT_DISABLE_DEPRECATED_BEFORE=0x060400
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_KEYWORDS)

add_library(project_options INTERFACE)
target_link_libraries(project_options INTERFACE common_options)

# The tests' own sources do without counters and UndefinedBehaviorSanitizer, with which they take twice as long to
# compile: what they test has both.
add_library(test_options INTERFACE)
target_link_libraries(test_options INTERFACE common_options)

if(NODEKEEP_SANITIZE)
    string(REPLACE ",undefined" "" sanitize_tests "${NODEKEEP_SANITIZE}")
    target_compile_options(common_options INTERFACE -fno-omit-frame-pointer)
    target_compile_options(project_options INTERFACE -fsanitize=${NODEKEEP_SANITIZE} -fno-sanitize-recover=all)
    target_compile_options(test_options INTERFACE -fsanitize=${sanitize_tests})
    target_link_options(common_options INTERFACE -fsanitize=${NODEKEEP_SANITIZE})
endif()
if(NODEKEEP_COVERAGE)
    target_compile_options(project_options INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(common_options INTERFACE --coverage)
endif()

# Nearly all of the time that a source takes to compile goes into Qt's and GoogleTest's headers.
option(NODEKEEP_PRECOMPILE "Compile the headers that nearly all sources share only once; clang-tidy can't read them" OFF)

# precompile(<library> <header>...): makes a library of headers that compiled_with() takes. Link to it what they need,
# and the options of the targets that share them.
function(precompile name)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/${name}.cpp CONTENT "") # left alone where it is there already
    add_library(${name} OBJECT ${CMAKE_BINARY_DIR}/${name}.cpp)
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()

# compiled_with(<headers> <target>...): lets targets take the headers that precompile() has made ready, where it has.
function(compiled_with headers)
    if(NODEKEEP_PRECOMPILE)
        foreach(target IN LISTS ARGN)
            target_precompile_headers(${target} REUSE_FROM ${headers})
        endforeach()
    endif()
endfunction()
