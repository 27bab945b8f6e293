# Replays one scenario file with zelvo-sim and compares what it prints with the expected output
# beside it, byte for byte. A scenario that wants the event trace says so in a line of its own:
#   // zelvo-sim --events   (or "//   zelvo-sim --events FILE", as a usage line)
# After a deliberate change of behaviour, ZELVO_UPDATE_SCENARIOS=1 in the environment writes the
# new output over the expected file; review the difference before committing it.
file(STRINGS ${SCENARIO} wants_events REGEX "^// +zelvo-sim --events( |$)")
set(arguments)
if(wants_events)
  set(arguments --events)
endif()
# EMULATOR (a command line, empty but in a cross build) runs the runner built for another machine.
separate_arguments(emulator UNIX_COMMAND "${EMULATOR}")
execute_process(COMMAND ${emulator} ${SIM} ${arguments} ${SCENARIO}
  OUTPUT_VARIABLE actual ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "zelvo-sim exited with ${status}: ${errors}")
endif()
if(DEFINED ENV{ZELVO_UPDATE_SCENARIOS})
  file(WRITE ${EXPECTED} "${actual}")
  return()
endif()
file(READ ${EXPECTED} expected)
if(NOT actual STREQUAL expected)
  file(WRITE ${ACTUAL} "${actual}")
  execute_process(COMMAND diff -u ${EXPECTED} ${ACTUAL})
  message(FATAL_ERROR "${SCENARIO}: the output differs from ${EXPECTED} (above; the whole output is in ${ACTUAL})")
endif()
