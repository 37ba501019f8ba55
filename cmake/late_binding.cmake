# Import libraries of the system libraries that the shipped program binds late (app/delay_load.cpp says why). A target
# with the property LATE_BINDING gets these, any other, such as a test, the ordinary ones. Link ${version_import},
# ${wtsapi32_import} and ${imm32_import}; a function that is missing here stays unresolved at link time.

function(add_late_binding dll)
  set(definitions ${CMAKE_BINARY_DIR}/${dll}_late.def)
  set(library ${CMAKE_BINARY_DIR}/lib${dll}_late.a)
  list(JOIN ARGN "\n" exports)
  file(CONFIGURE OUTPUT ${definitions} CONTENT "LIBRARY ${dll}.dll\nEXPORTS\n${exports}\n")
  # The prefix names the archive's members: a fixed one keeps builds the same.
  execute_process(COMMAND ${CMAKE_DLLTOOL} --input-def ${definitions} --output-delaylib ${library}
    --temp-prefix ${dll} --deterministic-libraries
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR} COMMAND_ERROR_IS_FATAL ANY)
  set(${dll}_import "$<IF:$<BOOL:$<TARGET_PROPERTY:LATE_BINDING>>,${library},${dll}>" PARENT_SCOPE)
endfunction()

add_late_binding(version GetFileVersionInfoSizeW GetFileVersionInfoW VerQueryValueW)
add_late_binding(imm32 ImmDisableIME ImmInstallIMEW ImmGetIMEFileNameW)
add_late_binding(wtsapi32 WTSQuerySessionInformationW WTSFreeMemory)
