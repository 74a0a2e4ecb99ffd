#include "JSONMembers.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "JSON.h"

namespace kelvane {

bool JSONMembers::has(const char* key) const { return json::find(object_, key) != nullptr; }

void JSONMembers::refuse(std::string sentence) {
    if (!failure_) failure_ = Error(std::move(sentence));
}

template <class T>
T JSONMembers::take(Result<T> result) {
    if (result) return *std::move(result);
    refuse(std::move(result.error().message));
    return T();
}

template <class T>
T JSONMembers::parsed(std::optional<T> value, const char* key, const char* kind) {
    if (value) return *std::move(value);
    refuse(std::string(key) + " must be " + kind + ".");
    return T();
}

std::string JSONMembers::string(const char* key) { return take(json::string(object_, key)); }
double JSONMembers::number(const char* key) { return take(json::number(object_, key)); }
std::int64_t JSONMembers::integer(const char* key) { return take(json::integer(object_, key)); }

UUID JSONMembers::uuid(const char* key) {
    const auto text = json::string(object_, key);
    return text ? parsed(UUID::parse(*text), key, "a UUID") : take(Result<UUID>(fail(text.error())));
}

FileURL JSONMembers::url(const char* key) {
    const auto text = json::string(object_, key);
    return text ? parsed(FileURL::parse(*text), key, "a URL") : take(Result<FileURL>(fail(text.error())));
}

std::optional<bool> JSONMembers::optionalBoolean(const char* key) {
    const nlohmann::json* value = json::find(object_, key);
    if (value == nullptr) return std::nullopt;
    if (value->is_boolean()) return value->get<bool>();
    refuse(std::string(key) + " must be true or false.");
    return std::nullopt;
}

std::optional<double> JSONMembers::optionalNumber(const char* key) {
    return has(key) ? std::optional(number(key)) : std::nullopt;
}
std::optional<UUID> JSONMembers::optionalUUID(const char* key) {
    return has(key) ? std::optional(uuid(key)) : std::nullopt;
}
std::optional<FileURL> JSONMembers::optionalURL(const char* key) {
    return has(key) ? std::optional(url(key)) : std::nullopt;
}

}  // namespace kelvane
