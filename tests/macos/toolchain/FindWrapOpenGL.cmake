# Qt's package asks for it; nothing of ours uses it.
set(WrapOpenGL_FOUND TRUE)
if(NOT TARGET WrapOpenGL::WrapOpenGL)
    add_library(WrapOpenGL::WrapOpenGL INTERFACE IMPORTED)
endif()
