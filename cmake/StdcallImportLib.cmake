# Rebuilds the import library of a 32-bit DLL linked with --kill-at.
#
# The DLL exports undecorated stdcall names (VexaEngine_Play), but a client
# compiled against the header refers to the decorated ones (VexaEngine_Play@24).
# The linker's own import library carries only the undecorated names; this one
# maps each decorated symbol to the undecorated export, so clients link as
# usual and import by the name the DLL really has.
#
# Run with: cmake -DDLLTOOL=... -DDEF_FILE=... -DDLL_NAME=... -DIMPORT_LIB=... -P StdcallImportLib.cmake
file(STRINGS "${DEF_FILE}" def_lines)
set(decorated "EXPORTS\n")
foreach(line IN LISTS def_lines)
  # Lines of the linker's def output: "    Name = Name@N @ordinal"
  if(line MATCHES "^[ \t]*([A-Za-z0-9_]+) = ([A-Za-z0-9_]+@[0-9]+)")
    string(APPEND decorated "    ${CMAKE_MATCH_2}\n")
  endif()
endforeach()
set(decorated_def "${DEF_FILE}.decorated")
file(WRITE "${decorated_def}" "${decorated}")
execute_process(
  COMMAND "${DLLTOOL}" --kill-at --input-def "${decorated_def}" --dllname "${DLL_NAME}" --output-lib "${IMPORT_LIB}"
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "dlltool failed (${result})")
endif()
