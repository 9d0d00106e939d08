# How targets of this project are made: warnings, layers, tests.

find_package(Threads REQUIRED)

add_library(nec_warnings INTERFACE)
target_compile_options(nec_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
# gcc 12 takes the joining of std::string objects for overlapping copies when it inlines much (its bug 105651).
target_compile_options(nec_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(nec_warnings INTERFACE -Wthread-safety)
endif()

# Nobody replaces single functions of our libraries: calls among exported ones may be inlined.
add_compile_options(-fno-semantic-interposition)

# Log lines and exceptions name source files as they stand in the project, wherever it was built.
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

if(NEC_SANITIZE)
    add_compile_options(-fsanitize=${NEC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${NEC_SANITIZE})
else()
    # Shared libraries are whole. (The sanitizers' runtime comes with the program.)
    set(NEC_SHARED_LINK_OPTIONS -Wl,--no-undefined)
endif()
if(NEC_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)  # all code tells libFuzzer what it reached
endif()

# nec_closed(NAME library... )
# Links NAME's objects, all of them, with nothing but what NAME declares that it links: a call up the layer order fails
# the build here.
function(nec_closed name)
    add_executable(closed_${name} ${PROJECT_SOURCE_DIR}/cmake/closed.cpp)
    target_link_libraries(closed_${name} PRIVATE ${ARGN})
endfunction()

# nec_layer(NAME SOURCES file... [LINKS layer-or-library...])
# One layer of the platform: static library frame_NAME. LINKS says which layers stand below it.
function(nec_layer name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINKS")
    add_library(frame_${name} STATIC ${arg_SOURCES})
    target_include_directories(frame_${name} PUBLIC ${PROJECT_SOURCE_DIR}/platform/include
                                             PRIVATE ${PROJECT_SOURCE_DIR}/platform)
    target_link_libraries(frame_${name} PUBLIC ${arg_LINKS} Threads::Threads PRIVATE nec_warnings)
    nec_closed(${name} "$<LINK_LIBRARY:WHOLE_ARCHIVE,frame_${name}>")
    set_property(GLOBAL APPEND PROPERTY NEC_LAYERS frame_${name})
endfunction()

# nec_test(NAME SOURCES file... [LINKS library...] [LABEL label] [WATCHED_HEAP])
# A GoogleTest program, each of its tests a test of CTest. It sees the inside of both libraries. Target tests-LABEL
# builds all programs with that label: those of threads and repeated run under ThreadSanitizer too, the latter three
# times. WATCHED_HEAP links tests/support/heap.cpp; ThreadSanitizer brings a heap of its own, and does without such
# programs. Only what is tested is optimised: compiling tests takes longer than running them.
function(nec_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "WATCHED_HEAP" "LABEL" "SOURCES;LINKS")
    if(arg_WATCHED_HEAP)
        if(NEC_SANITIZE MATCHES thread)
            return()
        endif()
        list(APPEND arg_SOURCES ${PROJECT_SOURCE_DIR}/tests/support/heap.cpp)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/platform ${PROJECT_SOURCE_DIR}/api
                                               ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE nec_inside ${arg_LINKS} GTest::gmock GTest::gtest_main nec_warnings)
    target_compile_options(${name} PRIVATE -O0 -g1)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 LABELS "${arg_LABEL}")
    if(arg_LABEL)
        if(NOT TARGET tests-${arg_LABEL})
            add_custom_target(tests-${arg_LABEL})
        endif()
        add_dependencies(tests-${arg_LABEL} ${name})
    endif()
endfunction()
