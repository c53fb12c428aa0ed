# Several Pythons may be on a machine, and the first one on the PATH is often that of a version
# manager, without the packages that the distribution has. A module that was built for one is of no
# use to another. So the choice is Python_EXECUTABLE where it is given, else the first python3 on
# the PATH, else the system's, that has both headers and numpy.

function(saddlefit_ask_python python question result)
    execute_process(COMMAND ${python} -c ${question} RESULT_VARIABLE status
                    OUTPUT_QUIET ERROR_QUIET)
    set(${result} OFF PARENT_SCOPE)
    if(status EQUAL 0)
        set(${result} ON PARENT_SCOPE)
    endif()
endfunction()

# Sets Python_EXECUTABLE, or ends with what to do.
function(saddlefit_find_python)
    set(headers "import os, sysconfig
assert os.path.exists(os.path.join(sysconfig.get_path('include'), 'Python.h'))")
    set(needed "${headers}\nimport numpy")
    find_program(first_python3 python3)
    set(candidates ${first_python3} /usr/bin/python3)
    if(Python_EXECUTABLE)
        set(candidates ${Python_EXECUTABLE})
        set(needed "${headers}") # whoever names one knows what it is for
    endif()
    foreach(candidate IN LISTS candidates)
        saddlefit_ask_python(${candidate} "${needed}" usable)
        if(usable)
            message(STATUS "The Python module is for ${candidate}; -DPython_EXECUTABLE=PATH takes "
                           "another")
            set(Python_EXECUTABLE ${candidate} CACHE FILEPATH
                "The Python that will import the module" FORCE)
            return()
        endif()
    endforeach()
    list(JOIN candidates ", " names)
    message(FATAL_ERROR
        "The Python module is built for the one Python that will import it, which needs its headers "
        "and numpy (Debian: python3-dev, python3-numpy). Looked at: ${names}. Name the one that is "
        "meant, for example -DPython_EXECUTABLE=/usr/bin/python3, or install what is missing.")
endfunction()
