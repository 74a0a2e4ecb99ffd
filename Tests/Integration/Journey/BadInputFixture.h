#pragma once

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <string>

#include "LiveDesk.h"

namespace kelvane::testing {

/// What comes from outside and is not as it should be.
class BadInput : public LiveDesk {
protected:
    /// Starts on a project of this name, from a file of its own.
    void launchOn(const std::string& name);
    /// An alert says so, and goes by Return.
    void expectAlert(const std::string& message);
    /// An alert says something that begins so, all of which it gives, and goes by Return.
    std::string expectAlertThatBegins(const std::string& words);
    [[nodiscard]] std::string folderOf(const std::string& project) const {
        return folder.path("Kelvane/Projects/" + project);
    }
    void beginRenaming(const std::string& name);
    /// Asks for a new project, and empties the field for its name.
    void askForName();

    /// As a client does: the reply.
    nlohmann::json import(const std::string& file);
    void lay(const nlohmann::json& entries);
    /// The project's file holds so many clips, and can be read.
    void expectKept(std::size_t clips) const;
};

}  // namespace kelvane::testing
