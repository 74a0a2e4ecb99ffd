#include "InspectionFile.h"

#include <unistd.h>

#include "Platform/ImageEncoding.h"
#include "Support/FileDescriptor.h"

namespace kelvane {

namespace {

constexpr double jpegQuality = 0.9;

}  // namespace

Result<void> writeInspectionImage(const std::string& path, const StillImage& image) {
    const auto data = jpegData(image, jpegQuality);
    if (!data) return fail("Could not finish an inspection image.");
    const auto file = FileDescriptor::open(path, O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (!file.isOpen()) return fail("Could not write an inspection image.");
    if (!file.writeAll(*data)) {
        ::unlink(path.c_str());
        return fail("Could not finish an inspection image.");
    }
    return {};
}

}  // namespace kelvane
