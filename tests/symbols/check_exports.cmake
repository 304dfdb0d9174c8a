# Lists the dynamic symbols of the library and checks that
#  - every C function named in REQUIRED is exported, unmangled, as a function;
#  - every other strong exported symbol is part of the public surface (thunks of
#    classes with several bases included): a C function
#    with a TC_/TQ_/TXP_ prefix, an entity of namespace norvane (not norvane::internal),
#    or one of the global C++ platform helpers.
# Weak symbols (template instantiations of the standard library) and sanitizer
# instrumentation symbols are not judged.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE raw RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
execute_process(COMMAND ${NM} -D --defined-only -C ${LIBRARY}
  OUTPUT_VARIABLE demangled)

file(STRINGS ${REQUIRED} required REGEX "^[A-Za-z_]")
string(REPLACE "\n" ";" raw_lines "${raw}")
set(failures "")
foreach(name IN LISTS required)
  if(NOT raw MATCHES "[0-9a-f]+ T ${name}\n")
    string(APPEND failures "missing C function: ${name}\n")
  endif()
endforeach()

set(global_helpers "InterlockedIncrement\\(int\\*\\)|InterlockedDecrement\\(int\\*\\)|LoadLibrary\\(char const\\*\\)|FreeLibrary\\(void\\*\\)|GetProcAddress\\(void\\*, char const\\*\\)|GetCurrentThreadId\\(\\)")
set(linker_symbols "_init|_fini|_edata|_end|__bss_start|__(odr_asan|asan|tsan|ubsan|sanitizer)[A-Za-z0-9_.]*")
string(REPLACE "\n" ";" lines "${demangled}")
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^[0-9a-f]+ ([A-Za-z]) (.*)$")
    continue()
  endif()
  set(kind ${CMAKE_MATCH_1})
  set(name "${CMAKE_MATCH_2}")
  if(kind MATCHES "^[WVu]$")
    continue()
  endif()
  # AddressSanitizer adds an ODR indicator beside each exported global variable.
  if(name MATCHES "^__odr_asan[._]")
    continue()
  endif()
  if(name MATCHES "norvane::internal|anonymous namespace")
    string(APPEND failures "internal symbol exported: ${name}\n")
  elseif(name MATCHES "^(TC|TQ|TXP)_[A-Za-z0-9_]+$")
  elseif(name MATCHES "^((vtable|typeinfo|typeinfo name|VTT|construction vtable) for |(virtual|non-virtual) thunk to )?norvane::")
  elseif(name MATCHES "^(${global_helpers})$")
  elseif(name MATCHES "^(${linker_symbols})$")
  else()
    string(APPEND failures "unexpected exported symbol: ${name}\n")
  endif()
endforeach()

if(failures)
  message(FATAL_ERROR "${failures}")
endif()
message(STATUS "exported symbols ok")
