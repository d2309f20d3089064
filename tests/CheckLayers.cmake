# Fails when a source file includes a header of a layer above its own. Layers, bottom to top:
# io, engine, formats, app, ui, main. A layer may include its own folder and those below it.
# Run as: cmake -DROOT=<source tree> -P CheckLayers.cmake
set(layers io engine formats app ui main)

set(violations "")
foreach(layer IN LISTS layers)
    list(FIND layers ${layer} rank)
    file(GLOB_RECURSE sources "${ROOT}/${layer}/*.h" "${ROOT}/${layer}/*.cpp")
    foreach(source IN LISTS sources)
        file(STRINGS "${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
        foreach(line IN LISTS includes)
            if(NOT line MATCHES "\"(\\.\\./)*([A-Za-z_]+)/")
                continue()
            endif()
            list(FIND layers "${CMAKE_MATCH_2}" includedRank)
            if(includedRank GREATER rank)
                file(RELATIVE_PATH name "${ROOT}" "${source}")
                string(STRIP "${line}" line)
                list(APPEND violations "${name}: ${line}")
            endif()
        endforeach()
    endforeach()
endforeach()

if(violations)
    list(JOIN violations "\n  " text)
    message(FATAL_ERROR "Includes that run up a layer (io <- engine <- formats <- app <- ui <- main):\n  ${text}")
endif()
