# CTest includes this before it lists the tests. Sets up Wine's folder, and starts the services of Wine
# without an output: they keep that of the first program open for as long as programs run, so CTest
# would wait for their end. They end some seconds after the last program.
execute_process(
  COMMAND wineboot INPUT_FILE /dev/null OUTPUT_FILE /dev/null ERROR_FILE /dev/null
  TIMEOUT 120
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "wineboot: ${result}")
endif()
