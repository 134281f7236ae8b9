# cmake -DROOT=<tree> -P CheckLayering.cmake
#
# Fails when a file of the library includes one from a layer above its own, from the simulated terminal or from the
# tests, and when the simulated terminal includes anything of the library. Looks at the texts of the #include lines,
# so that an include of a file that is not there is found too.
cmake_minimum_required(VERSION 3.25)

set(layers util device analysis interface) # from the bottom up
set(beside simulator tests fuzz bench examples tools)

# Which of the tree's folders an include line may mean, as a list: by a path from the tree's top, by a path from the
# including file, and by the bare name of a header that the build finds in interface/.
function(folders_of_include including_file included result)
    get_filename_component(directory ${including_file} DIRECTORY)
    set(paths ${ROOT}/${included} ${ROOT}/${directory}/${included})
    if(EXISTS ${ROOT}/interface/${included} AND NOT EXISTS ${ROOT}/${directory}/${included})
        list(APPEND paths ${ROOT}/interface/${included})
    endif()
    set(folders "")
    foreach(path IN LISTS paths)
        cmake_path(NORMAL_PATH path)
        cmake_path(RELATIVE_PATH path BASE_DIRECTORY ${ROOT} OUTPUT_VARIABLE relative)
        string(REGEX REPLACE "/.*" "" folder ${relative})
        list(APPEND folders ${folder})
    endforeach()
    list(REMOVE_DUPLICATES folders)
    set(${result} ${folders} PARENT_SCOPE)
endfunction()

function(check_include file line forbidden)
    if(NOT line MATCHES "^[ \t]*#[ \t]*include[ \t]*[<\"]([^>\"]+)[>\"]")
        message(SEND_ERROR "${file}: cannot tell what this includes: ${line}")
        return()
    endif()
    set(included ${CMAKE_MATCH_1})
    folders_of_include(${file} ${included} folders)
    foreach(folder IN LISTS folders)
        if(folder IN_LIST forbidden)
            message(SEND_ERROR "${file}: must not include ${included} (of ${folder}/)")
        endif()
    endforeach()
endfunction()

function(check_folder folder forbidden)
    file(GLOB_RECURSE files RELATIVE ${ROOT}
        ${ROOT}/${folder}/*.h ${ROOT}/${folder}/*.hpp ${ROOT}/${folder}/*.c ${ROOT}/${folder}/*.cpp)
    if(NOT files)
        message(SEND_ERROR "${folder}/: no source files")
    endif()
    foreach(file IN LISTS files)
        file(STRINGS ${ROOT}/${file} lines REGEX "^[ \t]*#[ \t]*include")
        foreach(line IN LISTS lines)
            check_include(${file} "${line}" "${forbidden}")
        endforeach()
    endforeach()
endfunction()

cmake_path(ABSOLUTE_PATH ROOT NORMALIZE)
set(above ${layers})
foreach(layer IN LISTS layers)
    list(REMOVE_ITEM above ${layer})
    check_folder(${layer} "${above};${beside}")
endforeach()
check_folder(simulator "${layers};tests")
