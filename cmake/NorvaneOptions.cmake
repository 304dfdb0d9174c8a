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
