# How every target of Morvel is built: one place for warnings, sanitizers and the include root.

# The program's code is in its module of windows, too, but is never replaced by anything different.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
add_library(morvel_common_options INTERFACE)
if(APPLE)
    # Its libc++ has parts of C++20 only there.
    target_compile_options(morvel_common_options INTERFACE -fexperimental-library)
else()
    target_compile_options(morvel_common_options INTERFACE -fno-semantic-interposition)
endif()
target_compile_options(morvel_common_options INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wpedantic -Werror)
target_include_directories(morvel_common_options INTERFACE ${CMAKE_SOURCE_DIR})
add_library(morvel_options INTERFACE)
target_link_libraries(morvel_options INTERFACE morvel_common_options)
# Programs that test what is built so. They are checked for faults of memory and threads only: checks
# of undefined behaviour in them, and in headers that nobody else includes, would take half of the
# time of a build.
add_library(morvel_test_options INTERFACE)
target_link_libraries(morvel_test_options INTERFACE morvel_common_options)
# Those with tests share headers that are compiled once, and so must not differ in their options. Each
# is run about as often as it is compiled, so the compiler makes haste. In one build it does not: there
# each file has to name the headers it needs, and to pass the warnings that come with optimisation.
add_library(morvel_test_program_options INTERFACE)
target_link_libraries(morvel_test_program_options INTERFACE morvel_test_options)
if(NOT MORVEL_SANITIZERS MATCHES "thread")
    target_compile_options(morvel_test_program_options INTERFACE -fPIC -pthread -O0)
endif()
if(MORVEL_SANITIZERS)
    string(REPLACE ",undefined" "" test_sanitizers "${MORVEL_SANITIZERS}")
    target_compile_options(morvel_options INTERFACE
        -fsanitize=${MORVEL_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_compile_options(morvel_test_options INTERFACE
        -fsanitize=${test_sanitizers} -fno-omit-frame-pointer)
    if(MORVEL_SANITIZERS MATCHES "address")
        target_compile_options(morvel_test_options INTERFACE -O0)
    endif()
    target_link_options(morvel_common_options INTERFACE -fsanitize=${MORVEL_SANITIZERS})
endif()
if(MORVEL_FUZZERS)
    target_compile_options(morvel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# morvel_module(<name> SOURCES ... [DEPENDS ...] [PRIVATE_DEPENDS ...])
# One static library a folder. DEPENDS is what the folder's headers may name: the link lines are the
# architecture.
function(morvel_module name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name}
        PUBLIC ${ARG_DEPENDS}
        PRIVATE morvel_options ${ARG_PRIVATE_DEPENDS})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
endfunction()

# morvel_test(<name> LABEL unit|audio|desktop|instructions|package SOURCES ... DEPENDS ... [ENVIRONMENT ...] [TIMEOUT s])
# A GoogleTest program whose every case is one ctest test. Cases of a program that needs a server
# run one after another under a resource lock named by LABEL.
add_custom_target(morvel_tests)
function(morvel_test name)
    cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;DEPENDS;ENVIRONMENT" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    add_dependencies(morvel_tests ${name})
    target_link_libraries(${name} PRIVATE morvel_test_program_options ${ARG_DEPENDS} GTest::gmock
        GTest::gtest
        GTest::gtest_main)
    if(TARGET morvel_test_headers)
        target_precompile_headers(${name} REUSE_FROM morvel_test_headers)
    endif()
    set(properties LABELS "${ARG_LABEL}" TIMEOUT ${ARG_TIMEOUT})
    if(NOT ARG_LABEL STREQUAL "unit")
        list(APPEND properties RUN_SERIAL TRUE)
    endif()
    if(MORVEL_SANITIZERS STREQUAL "thread")
        list(APPEND ARG_ENVIRONMENT
            "TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/tsan-suppressions.txt")
    endif()
    # The program and its module of windows hold the same code; of different sizes it is not the same.
    if(MORVEL_SANITIZERS MATCHES "address")
        list(APPEND ARG_ENVIRONMENT "ASAN_OPTIONS=detect_odr_violation=1")
        # A property of its own: the discovery of tests passes on only one value of each.
        list(APPEND properties ENVIRONMENT_MODIFICATION
            "LSAN_OPTIONS=set:print_suppressions=0:suppressions=${CMAKE_SOURCE_DIR}/tests/lsan-suppressions.txt")
    endif()
    if(ARG_ENVIRONMENT)
        list(APPEND properties ENVIRONMENT "${ARG_ENVIRONMENT}")
    endif()
    gtest_discover_tests(${name}
        TEST_PREFIX "${MORVEL_TEST_PREFIX}"
        DISCOVERY_TIMEOUT 60
        PROPERTIES ${properties})
endfunction()

# morvel_qml_module(<name> <URI> SOURCES ... QML ... [DEPENDS ...] [PRIVATE_DEPENDS ...])
# A folder of views: QML compiled into a static library, with the C++ types that it names. Whoever
# loads it calls the generated qml_register_types_<URI>() once.
function(morvel_qml_module name uri)
    cmake_parse_arguments(ARG "" "" "SOURCES;QML;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    qt_add_library(${name} STATIC)
    string(REPLACE "." "/" folder ${uri})
    # Byte code only: the C++ that the compiler would write does not pass our warnings.
    set_target_properties(${name} PROPERTIES
        AUTOMOC ON QT_QMLCACHEGEN_ARGUMENTS "--only-bytecode")
    qt_add_qml_module(${name} URI ${uri} VERSION 1.0 NO_PLUGIN
        RESOURCE_PREFIX /qt-project.org/imports
        OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/qml/${folder}
        SOURCES ${ARG_SOURCES}
        QML_FILES ${ARG_QML})
    target_link_libraries(${name}
        PUBLIC ${ARG_DEPENDS} Qt6::Qml
        PRIVATE morvel_options ${ARG_PRIVATE_DEPENDS})
    # The generated registration names our headers without their folder.
    target_include_directories(${name}
        PUBLIC ${CMAKE_SOURCE_DIR}
        PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()
