# Writes the viewer as a C++ source, or an empty one if there is none.
set(bytes 0)
set(size 0)
if(VIEWER)
    file(READ ${VIEWER} hex HEX)
    string(LENGTH "${hex}" size)
    math(EXPR size "${size} / 2")
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${hex}")
    string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
endif()
file(WRITE ${SOURCE} "#include \"page/Viewer.h\"

namespace Vel::Page {

namespace {
const unsigned char bytes[] = {${bytes}};
}

std::string_view Viewer() { return {reinterpret_cast<const char*>(bytes), ${size}}; }

} // namespace Vel::Page
")
