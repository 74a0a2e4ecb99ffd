#include "InspectionFile.h"

#include <fcntl.h>
#include <unistd.h>

#include "Platform/ImageEncoding.h"
#include "Support/FileDescriptor.h"

namespace kelvane {

namespace {

constexpr double jpegQuality = 0.9;

}  // namespace

Result<void> writeNewPicture(const std::string& path, const std::optional<std::string>& data, const std::string& what) {
    const auto file = FileDescriptor::open(path, O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (!file.isOpen()) return fail("Could not write " + what + ".");
    if (!data || !file.writeAll(*data)) {
        ::unlink(path.c_str());
        return fail("Could not finish " + what + ".");
    }
    return {};
}

Result<void> writeInspectionImage(const std::string& path, const StillImage& image) {
    return writeNewPicture(path, jpegData(image, jpegQuality), "an inspection image");
}

}  // namespace kelvane
