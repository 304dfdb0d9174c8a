# Warnings and sanitizers shared by every target of the project.

function(norvane_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(NORVANE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Checks the GUARDED_BY / REQUIRES annotations on locked state.
    target_compile_options(${target} PRIVATE -Wthread-safety)
  endif()
endfunction()

if(NORVANE_SANITIZE)
  set(_san "-fsanitize=${NORVANE_SANITIZE}")
  add_compile_options(${_san} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC's flow analysis reports false "maybe uninitialized" warnings in
    # instrumented standard-library code.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  add_link_options(${_san})
endif()

if(NORVANE_FUZZ)
  # Coverage feedback for libFuzzer in every object; the fuzz targets add the driver.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Hardening, as Debian builds its packages: checked buffer functions where the
# compiler optimises, full RELRO and immediate binding. The sanitizer and fuzz builds
# leave the checked functions out (the sanitizers check more, and intercept the
# plain ones).
option(NORVANE_HARDENING "Build with _FORTIFY_SOURCE=2 and -z relro -z now" ON)
if(NORVANE_HARDENING)
  if(NOT NORVANE_SANITIZE AND NOT NORVANE_FUZZ)
    add_compile_definitions($<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
  endif()
  add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()
