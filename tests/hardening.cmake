# Checks what the linker made of PROGRAM: the protections of a release build, and that the program
# cannot start another one.
function(read_elf output)
  execute_process(COMMAND ${READELF} -W ${ARGN} ${PROGRAM} OUTPUT_VARIABLE text
    COMMAND_ERROR_IS_FATAL ANY)
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

read_elf(sections --file-header --program-headers --dynamic)
read_elf(symbols --dyn-syms)

set(faults "")
macro(expect text pattern what)
  if(NOT "${text}" MATCHES "${pattern}")
    list(APPEND faults "${what}")
  endif()
endmacro()
expect("${sections}" "FLAGS_1[^\n]*PIE" "it is not position independent")
expect("${sections}" "GNU_RELRO" "its relocated data stays writable")
expect("${sections}" "FLAGS_1[^\n]*NOW" "its calls are bound lazily, so their table stays writable")
expect("${sections}" "GNU_STACK[^\n]* RW " "its stack is executable")
expect("${symbols}" "__stack_chk_fail" "its stack frames are not guarded")
expect("${symbols}" "__[a-z]+_chk[@\n]" "its calls of the C library are not fortified")

string(REGEX MATCHALL " (system|popen|exec[a-z]+|posix_spawnp?)@" starters "${symbols}")
if(starters)
  list(APPEND faults "it can start programs:${starters}")
endif()
if(faults)
  list(JOIN faults "\n  " faults)
  message(FATAL_ERROR "${PROGRAM}:\n  ${faults}")
endif()
