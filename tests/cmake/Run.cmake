# run(WHAT COMMAND...)
#
# Runs a command that has to succeed, and leaves what it wrote in ${output} and ${errors}. To be included.
function(run what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE errors)
    if(NOT code EQUAL 0)
        message(FATAL_ERROR "${what} failed (${code}):\n${output}${errors}")
    endif()
    set(output "${output}" PARENT_SCOPE)
    set(errors "${errors}" PARENT_SCOPE)
endfunction()
