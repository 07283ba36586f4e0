# Runs TOOL with ARGS (separated by spaces) and writes what it prints to OUTPUT, which appears
# only when the tool succeeds. Used at build time: cmake -DTOOL=... -DARGS=... -DOUTPUT=... -P
separate_arguments(args UNIX_COMMAND "${ARGS}")
# The tool needs no display; a sanitizer build's leak report would only fail the step.
set(ENV{QT_QPA_PLATFORM} offscreen)
set(ENV{ASAN_OPTIONS} detect_leaks=0)
execute_process(COMMAND "${TOOL}" ${args}
        OUTPUT_FILE "${OUTPUT}.part"
        ERROR_VARIABLE errors
        RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    file(REMOVE "${OUTPUT}.part")
    message(FATAL_ERROR "${TOOL} ${ARGS} failed (${result}): ${errors}")
endif()
file(RENAME "${OUTPUT}.part" "${OUTPUT}")
