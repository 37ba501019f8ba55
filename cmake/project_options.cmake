# Compiler settings of every target of the project, and the two ways of declaring a folder's library.

add_library(project_options INTERFACE)
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(project_options INTERFACE
  "$<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Wshadow;-Wconversion;-Werror>")

if(WIN32)
  # 0x0502 is XP x64: what newer systems have is declared and looked up at run time, never imported.
  target_compile_definitions(project_options INTERFACE _WIN32_WINNT=0x0502 WINVER=0x0502 NTDDI_VERSION=0x05020000
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
  # The prefix map and the dropped link time keep two builds of the same sources byte for byte the same.
  target_compile_options(project_options INTERFACE
    "$<$<COMPILE_LANGUAGE:CXX>:$<IF:$<CONFIG:Debug>,-Og,-Os>;-ffunction-sections;-fdata-sections;-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>")
  target_link_options(project_options INTERFACE -static -Wl,--gc-sections -Wl,--no-insert-timestamp
    -Wl,--major-subsystem-version=5 -Wl,--minor-subsystem-version=2
    -Wl,--major-os-version=5 -Wl,--minor-os-version=2)
  set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <OBJECTS>")
  set(CMAKE_CXX_FLAGS_RELEASE "-DNDEBUG")
else()
  target_compile_options(project_options INTERFACE -g -O1 -fno-omit-frame-pointer
    -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all)
  target_link_options(project_options INTERFACE -fsanitize=address,undefined)
endif()

# pure_library(name SOURCES… LINK libraries…): files that include no windows.h, built on every platform.
function(pure_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC project_options ${arg_LINK})
endfunction()

# system_library(name SOURCES… LINK libraries…): files that call Windows, left out of the native build.
function(system_library name)
  if(WIN32)
    pure_library(${name} ${ARGN})
  endif()
endfunction()
