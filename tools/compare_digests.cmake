# Runs the native and the cross-built render_digest and fails unless they
# print the same lines.
execute_process(COMMAND ${NATIVE} OUTPUT_VARIABLE native RESULT_VARIABLE native_rc)
execute_process(COMMAND ${EMULATOR} ${CROSS} OUTPUT_VARIABLE cross RESULT_VARIABLE cross_rc)
string(REPLACE "\r" "" cross "${cross}")
if(NOT native_rc EQUAL 0 OR NOT cross_rc EQUAL 0)
  message(FATAL_ERROR "render_digest failed: native ${native_rc}, Windows ${cross_rc}")
endif()
if(NOT native STREQUAL cross)
  message(FATAL_ERROR "pixels differ between Linux and Windows\nLinux:\n${native}\nWindows:\n${cross}")
endif()
string(REGEX MATCHALL "\n" lines "${native}")
list(LENGTH lines count)
message(STATUS "Linux and Windows agree on ${count} digests:\n${native}")
