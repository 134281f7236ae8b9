# Runs the consumers and checks what they print. To be included; ${libraries} is the directory of the library that
# they have to use.

include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/Run.cmake)

function(expect_line line)
    string(FIND "\n${output}" "\n${line}\n" position)
    if(position EQUAL -1)
        message(SEND_ERROR "no line \"${line}\" in:\n${output}")
    endif()
endfunction()

# Programs run with an empty environment for the library: its own directory holds the configuration and the log.
function(run_c_consumer)
    run("the C consumer" ${ARGN})
    expect_line("${libraries}/libpdalink.so.1")
    expect_line("C: 0 2 {}")
endfunction()

function(run_cpp_consumer)
    run("the C++ consumer" ${ARGN})
    expect_line("${libraries}/libpdalink.so.1")
    expect_line("C++: -1 2 {}")
    expect_line("ids: 1209 0001")
    expect_line("state: 0 -1 0 2000")
    expect_line("helpers: 0 1 a")
    expect_line("logged: 1")
endfunction()
