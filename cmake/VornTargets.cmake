# How every target of the project is made: one standard, one set of warnings, one include root.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# Symbols for a backtrace, without the cost of full debug information in every build.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG")

add_library(vorn_options INTERFACE)
target_include_directories(vorn_options INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(vorn_options INTERFACE Threads::Threads)
target_compile_options(vorn_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wnull-dereference -Wundef
  -fno-common -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ 12 reports these inside its own library headers once it has inlined them.
  target_compile_options(vorn_options INTERFACE -Wno-null-dereference -Wduplicated-cond -Wlogical-op)
endif()
if(VORN_WERROR)
  target_compile_options(vorn_options INTERFACE -Werror)
endif()
if(VORN_SANITIZE)
  target_compile_options(vorn_options INTERFACE
    -fsanitize=${VORN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(vorn_options INTERFACE -fsanitize=${VORN_SANITIZE})
  if(VORN_SANITIZE MATCHES "undefined")
    # This check probes memory through a pipe: without a free descriptor, as tests bring it about, it
    # takes every object for a wrong one.
    target_compile_options(vorn_options INTERFACE -fno-sanitize=vptr)
  endif()
elseif(NOT VORN_FUZZ)
  # _FORTIFY_SOURCE and the sanitizers check the same calls; only one of them may be on.
  target_compile_options(vorn_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
if(VORN_FUZZ)
  target_compile_options(vorn_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined
    -fno-sanitize-recover=all)
  target_link_options(vorn_options INTERFACE -fsanitize=address,undefined)
endif()

# vorn_library(NAME SOURCES file... [DEPENDS target...]): one static library of one floor.
function(vorn_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC vorn_options ${ARG_DEPENDS})
endfunction()

# vorn_program(NAME SOURCES file... [DEPENDS target...]): a program that an operator runs. The C++
# library is linked in: a short-lived command must not spend its time in the dynamic linker.
function(vorn_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE vorn_options ${ARG_DEPENDS})
  if(NOT VORN_SANITIZE AND NOT VORN_FUZZ)
    target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc -Wl,-O1 -Wl,--gc-sections
      -Wl,-z,relro)
  endif()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endfunction()
