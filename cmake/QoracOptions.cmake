# Flags that every target shares, as interface targets.

add_library(qorac_warnings INTERFACE)
target_compile_options(qorac_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Werror)

# Sanitizers for everything in the build: those of memory and undefined behaviour, or that of
# threads.
add_library(qorac_sanitize INTERFACE)
if(QORAC_FUZZ)
  set(QORAC_SANITIZE ON)
endif()
if(QORAC_SANITIZE)
  if(QORAC_SANITIZE STREQUAL "thread")
    set(sanitizers thread)
  else()
    set(sanitizers address,undefined)
  endif()
  if(QORAC_ISA STREQUAL "all")
    # The loader binds the kernels before the sanitizer's run time is ready, so that a build with
    # sanitizers has one level.
    set(QORAC_ISA v3)
  endif()
  if(QORAC_FUZZ)
    string(APPEND sanitizers ,fuzzer-no-link)
  endif()
  # -O1 keeps the compile times of large kernels down; the sanitizers' own code makes the compiler
  # see variables without a value where there are none.
  target_compile_options(qorac_sanitize INTERFACE
    -O1 -g1 -fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(qorac_sanitize INTERFACE -fsanitize=${sanitizers})
endif()

# clang has no arch= clones; a clang build has one level.
if(QORAC_ISA STREQUAL "all" AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(QORAC_ISA v1)
endif()

# Flags of the instruction level `level` for a target of the library's sources.
function(qorac_set_level target level)
  if(level STREQUAL "all")
    target_compile_definitions(${target} PRIVATE QORAC_ISA_ALL)
  elseif(level STREQUAL "v1")
    target_compile_options(${target} PRIVATE -march=x86-64)
  else()
    target_compile_options(${target} PRIVATE -march=x86-64-${level})
  endif()
endfunction()
