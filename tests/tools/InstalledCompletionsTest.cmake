# cmake -DSOURCE=<source tree> -DPDACTL=<pdactl> -DC_COMPILER=<cc> -DCXX_COMPILER=<c++> -DPROCESSOR=<processor>
#       -DSCRATCH=<directory> -P InstalledCompletionsTest.cmake
#
# Installs the completion files of a cross build, which has no program that could be run, and completes a word in
# each shell.
cmake_minimum_required(VERSION 3.25)

set(share ${SCRATCH}/prefix/share)
cmake_path(GET PDACTL PARENT_PATH directory)

include(${CMAKE_CURRENT_LIST_DIR}/../cmake/Run.cmake)

# With the program in the PATH the word "sca" becomes "scan", without it nothing happens, not even a complaint.
function(check_shell shell)
    find_program(${shell}_program ${shell})
    if(NOT ${shell}_program)
        message(SEND_ERROR "${shell}: this shell is not installed")
        return()
    endif()
    run("${shell}" ${CMAKE_COMMAND} -E env "PATH=${directory}:$ENV{PATH}" ${${shell}_program} ${ARGN}
        WORKING_DIRECTORY ${SCRATCH}/empty)
    if(NOT output MATCHES "^scan[^\n]*\n$" OR errors)
        message(SEND_ERROR "${shell} completes \"sca\" to:\n${output}${errors}")
    endif()
    execute_process(COMMAND ${CMAKE_COMMAND} -E env PATH=${SCRATCH}/empty ${${shell}_program} ${ARGN}
        WORKING_DIRECTORY ${SCRATCH}/empty OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT output MATCHES "^\n?$")
        message(SEND_ERROR "${shell} says without the program:\n${output}")
    endif()
endfunction()

file(REMOVE_RECURSE ${SCRATCH})
file(MAKE_DIRECTORY ${SCRATCH}/empty)
run("configuring" ${CMAKE_COMMAND} -G Ninja -S ${SOURCE} -B ${SCRATCH}/build
    -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=${PROCESSOR}
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    -DPDALINK_SIMULATOR=OFF -DPDALINK_BENCH=OFF -DBUILD_TESTING=OFF)
run("installing" ${CMAKE_COMMAND} --install ${SCRATCH}/build --component pdactl-completions --prefix ${SCRATCH}/prefix)

check_shell(bash --norc -c "
    source ${share}/bash-completion/completions/pdactl
    COMP_WORDS=(pdactl sca)
    COMP_CWORD=1
    [[ $(type -t _pdactl) != function ]] || _pdactl
    echo \"\${COMPREPLY[@]}\"")
# Outside of an editor there is nothing to complete for zsh: the functions that would show it print it instead.
check_shell(zsh -f -c "
    fpath=(${share}/zsh/site-functions)
    _files() {}
    _describe() { print -rl -- \${\${(P)2}%%:*} }
    autoload -Uz _pdactl
    words=(pdactl sca) CURRENT=2 _pdactl")
check_shell(fish --no-config -c "
    set fish_complete_path ${share}/fish/vendor_completions.d
    complete -C 'pdactl sca'")
file(REMOVE_RECURSE ${SCRATCH})
