# Once all packages are found, and before anything is generated: their headers and libraries become
# the staged ones.

function(morvel_use_stage)
    get_property(targets DIRECTORY ${CMAKE_SOURCE_DIR} PROPERTY IMPORTED_TARGETS)
    foreach(target ${targets})
        get_target_property(aliased ${target} ALIASED_TARGET)
        get_target_property(type ${target} TYPE)
        if(aliased OR type STREQUAL "EXECUTABLE")
            continue()
        endif()
        get_target_property(folders ${target} INTERFACE_INCLUDE_DIRECTORIES)
        if(folders)
            set(staged)
            foreach(folder ${folders})
                string(REGEX REPLACE "^/usr/include/[^/]*-linux-gnu[^/]*/qt6"
                    "${MORVEL_CHECK_STAGE}/include/qt6" folder "${folder}")
                string(REGEX REPLACE "^/usr/lib/[^/]*/qt6/mkspecs/.*" "${MORVEL_CHECK_STAGE}/mkspec"
                    folder "${folder}")
                string(REGEX REPLACE "^/usr/include$" "${MORVEL_CHECK_STAGE}/include" folder
                    "${folder}")
                # What else a package names is for Linux.
                if(NOT folder MATCHES "^/usr/")
                    list(APPEND staged "${folder}")
                endif()
            endforeach()
            set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${staged}")
        endif()
        get_target_property(libraries ${target} INTERFACE_LINK_LIBRARIES)
        if(libraries MATCHES "/usr/lib/")
            string(REGEX REPLACE "/usr/lib/[^;]*/(lib[^/;]*)\\.so[^/;]*"
                "${MORVEL_CHECK_STAGE}/lib/\\1.tbd" libraries "${libraries}")
            set_target_properties(${target} PROPERTIES INTERFACE_LINK_LIBRARIES "${libraries}")
        endif()
        get_target_property(configurations ${target} IMPORTED_CONFIGURATIONS)
        foreach(suffix "" ${configurations})
            if(suffix)
                set(suffix _${suffix})
            endif()
            get_target_property(file ${target} IMPORTED_LOCATION${suffix})
            if(file MATCHES "/(lib[^/]*)\\.so[^/]*$")
                set_target_properties(${target} PROPERTIES
                    IMPORTED_LINK_DEPENDENT_LIBRARIES${suffix} ""
                    IMPORTED_LOCATION${suffix} ${MORVEL_CHECK_STAGE}/lib/${CMAKE_MATCH_1}.tbd)
            endif()
        endforeach()
    endforeach()
    # The byte code of the views is many small files that all read the same large headers.
    foreach(target morvel_app_views morvel_fidget_views morvel_views)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
        get_target_property(sources ${target} SOURCES)
        list(FILTER sources EXCLUDE REGEX "qmlcache")
        foreach(source ${sources})
            set_source_files_properties(${source} TARGET_DIRECTORY ${target}
                PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
        endforeach()
    endforeach()
    # Of the OpenGL that Qt was built with here only this type is missing.
    target_compile_definitions(morvel_views PRIVATE GLuint=unsigned)
endfunction()

# Headers that are not part of a package's own folder.
include_directories(SYSTEM ${MORVEL_CHECK_STAGE}/include)
add_compile_definitions(QT_NO_OPENGL)
cmake_language(DEFER CALL morvel_use_stage)
