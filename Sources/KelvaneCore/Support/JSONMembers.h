#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "Error.h"
#include "FileURL.h"
#include "UUID.h"

namespace kelvane {

/// Reads the members of one JSON object into a record. The first failure stands and names its key ("start must be
/// a number."); reads after it still give values, so that a record is read in one run and `failure` asked at its end.
/// Optional members are absent when missing or null. Must not outlive the object.
class JSONMembers {
public:
    explicit JSONMembers(const nlohmann::json& object) : object_(object) {}

    std::string string(const char* key);
    double number(const char* key);
    std::int64_t integer(const char* key);
    UUID uuid(const char* key);
    FileURL url(const char* key);

    std::optional<bool> optionalBoolean(const char* key);
    std::optional<double> optionalNumber(const char* key);
    std::optional<UUID> optionalUUID(const char* key);
    std::optional<FileURL> optionalURL(const char* key);

    [[nodiscard]] const std::optional<Error>& failure() const { return failure_; }

private:
    [[nodiscard]] bool has(const char* key) const;
    void refuse(std::string sentence);
    template <class T>
    T take(Result<T> result);
    template <class T>
    T parsed(std::optional<T> value, const char* key, const char* kind);

    const nlohmann::json& object_;
    std::optional<Error> failure_;
};

}  // namespace kelvane
