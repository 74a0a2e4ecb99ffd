#include "LibraryProject.h"

#include <nlohmann/json.hpp>

#include "Support/JSON.h"
#include "Support/JSONMembers.h"
#include "Support/PrettyJSON.h"

namespace kelvane {

Result<std::string> encodeLibraryProject(const LibraryProject& row) {
    PrettyJSONWriter writer;
    writer.openObject();
    writer.member("duration", row.duration);
    writer.member("id", row.id.upper());
    if (row.importedFrom) writer.member("importedFrom", row.importedFrom->absoluteString());
    writer.member("modified", row.modified);
    writer.member("name", row.name);
    writer.closeObject();
    if (!writer.unwritableKey().empty()) return fail(writer.unwritableKey() + " must be a finite number.");
    return writer.take();
}

Result<LibraryProject> decodeLibraryProject(std::string_view text) {
    const auto document = parseJSON(text);
    if (!document) return fail(document.error());
    if (const auto object = json::object(*document, "The project's metadata"); !object) return fail(object.error());

    JSONMembers members(*document);
    LibraryProject row;
    row.id = members.uuid("id");
    row.name = members.string("name");
    row.modified = members.number("modified");
    row.duration = members.number("duration");
    row.importedFrom = members.optionalURL("importedFrom");
    if (members.failure()) return fail(*members.failure());
    return row;
}

}  // namespace kelvane
