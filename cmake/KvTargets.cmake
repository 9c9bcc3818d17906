# Helpers that keep one target a folder and make the allowed include directions hold.
#
# A header is included as "folder/name.h". A target sees only the folders that it names in
# DEPS: each folder is reached through an include root of its own, which holds nothing but
# a link to that folder, so that a forbidden include does not compile.

set(KV_INCLUDE_ROOTS ${CMAKE_BINARY_DIR}/include-roots)

function(kv_include_root result folder)
  get_filename_component(name ${folder} NAME)
  set(root ${KV_INCLUDE_ROOTS}/${name})
  file(MAKE_DIRECTORY ${root})
  if(NOT EXISTS ${root}/${name})
    file(CREATE_LINK ${folder} ${root}/${name} SYMBOLIC)
  endif()
  set(${result} ${root} PARENT_SCOPE)
endfunction()

# Both are named in the form that leaves no path in what CMake writes, so that two copies of the tree share the
# compiler's cache.

# The standard headers, compiled once for all targets without Qt.
function(kv_use_std_pch target)
  if(NOT TARGET kv_pch_std)
    file(WRITE ${CMAKE_BINARY_DIR}/kv_pch_std.cpp "")
    add_library(kv_pch_std OBJECT ${CMAKE_BINARY_DIR}/kv_pch_std.cpp)
    target_include_directories(kv_pch_std PRIVATE ${CMAKE_SOURCE_DIR}/cmake)
    target_precompile_headers(kv_pch_std PRIVATE <pch_std.h>)
  endif()
  target_precompile_headers(${target} REUSE_FROM kv_pch_std)
endfunction()

# Qt's headers on top of them, for the targets with windows.
function(kv_use_qt_pch target)
  if(NOT TARGET kv_pch_qt)
    file(WRITE ${CMAKE_BINARY_DIR}/kv_pch_qt.cpp "")
    add_library(kv_pch_qt OBJECT ${CMAKE_BINARY_DIR}/kv_pch_qt.cpp)
    target_link_libraries(kv_pch_qt PRIVATE Qt6::Widgets)
    target_include_directories(kv_pch_qt PRIVATE ${CMAKE_SOURCE_DIR}/cmake)
    target_precompile_headers(kv_pch_qt PRIVATE <pch_std.h> <pch_qt.h>)
  endif()
  target_precompile_headers(${target} REUSE_FROM kv_pch_qt)
endfunction()

# kv_add_library(name [QT] [DEPS target...] [LIBS library...] [PRIVATE_LIBS library...])
# A static library of all sources in the present folder but main.cpp.
function(kv_add_library target)
  cmake_parse_arguments(ARG "QT" "" "DEPS;LIBS;PRIVATE_LIBS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS *.cpp *.h)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  if(NOT sources)
    file(WRITE ${CMAKE_BINARY_DIR}/${target}_empty.cpp "")
    set(sources ${CMAKE_BINARY_DIR}/${target}_empty.cpp)
  endif()
  add_library(${target} STATIC ${sources})
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  kv_include_root(root ${CMAKE_CURRENT_SOURCE_DIR})
  target_include_directories(${target} PUBLIC ${root})
  target_link_libraries(${target} PUBLIC ${ARG_DEPS} ${ARG_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
  if(ARG_QT)
    target_link_libraries(${target} PUBLIC Qt6::Widgets)
    kv_use_qt_pch(${target})
  else()
    kv_use_std_pch(${target})
  endif()
endfunction()

# kv_add_program(name [QT] [DEPS target...]): a program from main.cpp in the present folder.
function(kv_add_program target)
  cmake_parse_arguments(ARG "QT" "" "DEPS" ${ARGN})
  if(NOT EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/main.cpp)
    return()
  endif()
  add_executable(${target} main.cpp)
  target_link_libraries(${target} PRIVATE ${ARG_DEPS})
  target_compile_definitions(${target} PRIVATE KV_VERSION="${PROJECT_VERSION}")
  if(ARG_QT)
    kv_use_qt_pch(${target})
  else()
    kv_use_std_pch(${target})
  endif()
endfunction()

# kv_add_test(name [QT] [DEPS target...]): one test program of all sources in the present
# folder; each of its cases is one CTest test.
function(kv_add_test target)
  cmake_parse_arguments(ARG "QT" "TIMEOUT" "DEPS;LIBS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS *.cpp *.h)
  if(NOT sources)
    return()
  endif()
  add_executable(${target} ${sources})
  target_link_libraries(${target} PRIVATE ${ARG_DEPS} ${ARG_LIBS} GTest::gmock)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  if(ARG_QT)
    target_link_libraries(${target} PRIVATE kvtestsupport_qt)
    kv_use_qt_pch(${target})
    set(environment "QT_QPA_PLATFORM=offscreen")
  else()
    target_link_libraries(${target} PRIVATE kvtestsupport GTest::gmock_main)
    kv_use_std_pch(${target})
    set(environment "KV_TEST=1")
  endif()
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST
                       PROPERTIES TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${environment}")
endfunction()

# kv_add_fuzzer(file [DEPS target...]): fuzz_NAME from fuzz/NAME.cpp.
function(kv_add_fuzzer source)
  cmake_parse_arguments(ARG "" "" "DEPS" ${ARGN})
  get_filename_component(name ${source} NAME_WE)
  add_executable(fuzz_${name} ${source})
  target_link_libraries(fuzz_${name} PRIVATE ${ARG_DEPS})
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
endfunction()
