#include "selftest/FileAsItWas.h"

#include <system_error>
#include <utility>

namespace morvel {

namespace fs = std::filesystem;

namespace {

fs::perms permissionsOf(const fs::path& file) {
    std::error_code ignored;
    return fs::status(file, ignored).permissions();
}

bool isThere(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

} // namespace

FileAsItWas::FileAsItWas(fs::path file)
    : file_(std::move(file))
    , content_(readFile(file_, longest))
    , permissions_(permissionsOf(file_))
    , hadFolder_(isThere(file_.parent_path())) {}

FileAsItWas::~FileAsItWas() {
    restore();
}

void FileAsItWas::restore() {
    if (content_.kind == FileContent::Kind::unreadable)
        return;
    const FileContent now = readFile(file_, longest);
    std::error_code ignored;
    if (content_.kind == FileContent::Kind::absent) {
        if (now.kind == FileContent::Kind::content)
            fs::remove(file_, ignored);
        if (!hadFolder_ && fs::is_empty(file_.parent_path(), ignored))
            fs::remove(file_.parent_path(), ignored);
        return;
    }
    if (now.kind != FileContent::Kind::content || now.text != content_.text)
        replaceFile(file_, content_.text);
    if (permissionsOf(file_) != permissions_)
        fs::permissions(file_, permissions_, ignored);
}

} // namespace morvel
