# Flags that hold for every target, so that precompiled headers can be shared.
find_program(KV_CCACHE ccache)
find_program(KV_ENV env)
if(KV_CCACHE AND KV_ENV AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # The sloppiness lets ccache accept precompiled headers; paths below the base count as relative, and the folder
  # of the build is left out, so that a second copy of the tree finds what the first has compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${KV_ENV} CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${KV_CCACHE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fpch-preprocess)
  endif()
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Wold-style-cast
                    -Wcast-align -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Version 12 sees overflows in the standard library's own strings and vectors.
  add_compile_options(-Wno-restrict -Wno-stringop-overflow -Wno-array-bounds)
endif()
add_compile_options(-fstack-protector-strong)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
# A broken bound ends the program instead of reading on; no address of a library is looked up, and so writable,
# after the start; where the processor can, jumps land only where the compiler meant them to.
add_compile_definitions(_GLIBCXX_ASSERTIONS)
# A library of which nothing is called is not asked for.
add_link_options(-Wl,-z,relro,-z,now -Wl,--as-needed)
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection=full KV_HAS_CF_PROTECTION)
if(KV_HAS_CF_PROTECTION)
  add_compile_options(-fcf-protection=full)
endif()

if(KV_SANITIZE)
  add_compile_options(-fsanitize=${KV_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KV_SANITIZE})
  if(KV_SANITIZE MATCHES "undefined")
    # An object's type is looked at with the help of a pipe: where a test leaves no file free, all types are wrong.
    add_compile_options(-fno-sanitize-recover=undefined -fno-sanitize=vptr)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The checks put in hide from version 12 that a variant holds what it says, and how long a string is.
    add_compile_options(-Wno-maybe-uninitialized -Wno-stringop-overread)
  endif()
endif()
