// SPDX-License-Identifier: MIT
#include "settings/schema.h"

#include <nlohmann/json.hpp>

#include "effect/parameters.h"
#include "settings/parameter_words.h"

namespace quorvel::settings {
namespace {

using nlohmann::ordered_json;

constexpr char kFrame[] = "^[+-]?0*[0-9]{1,8}$";
constexpr char kSeconds[] = "^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?s$";
constexpr char kRateText[] = "^\\+?[0-9]+(\\.[0-9]*)?(/\\+?[0-9]+(\\.[0-9]*)?)?$";

ordered_json number(double value) {
    return ordered_json::parse(exactText(value));
}

ordered_json text(const char* description) {
    return {{"type", "string"}, {"description", description}};
}

/// An object of these properties and no others.
ordered_json object(const ordered_json& properties, const ordered_json& required) {
    return {{"type", "object"}, {"properties", properties}, {"required", required}, {"additionalProperties", false}};
}

/// A value that stands still; `whole` refuses fractions.
ordered_json value(const Parameter& parameter, bool whole) {
    switch (parameter.kind) {
        case ParameterKind::Choice:
            return {{"enum", choiceNames(parameter)}};
        case ParameterKind::Layer:
            return {{"type", "string"}, {"minLength", 1}};
        default:
            break;
    }
    const auto [lowest, highest] = rangeOf(parameter);
    return {{"type", whole ? "integer" : "number"}, {"minimum", number(lowest)}, {"maximum", number(highest)}};
}

ordered_json moving(const Parameter& parameter) {
    const ordered_json plain = value(parameter, false);
    const ordered_json toNext =
        isNumber(parameter) ? ordered_json{{"$ref", "#/$defs/ease"}}
                            : ordered_json{{"const", "hold"}, {"description", "A choice has nothing between two keys"}};
    const ordered_json key = {
        {"anyOf", {plain, object({{"value", plain}, {"to-next", toNext}}, ordered_json::array({"value"}))}}};
    const ordered_json outside = {{"$ref", "#/$defs/outside"}};
    return object(
        {{"keys", {{"$ref", "#/$defs/times"}, {"additionalProperties", key}}}, {"before", outside}, {"after", outside}},
        ordered_json::array({"keys"}));
}

ordered_json described(const Parameter& parameter) {
    ordered_json schema = {{"title", parameter.name}, {"description", parameter.help}};
    const ordered_json fixed = value(parameter, parameter.kind == ParameterKind::Count);
    if (parameter.kind == ParameterKind::Layer) {
        schema["description"] = std::string(parameter.help) + " A file name, seen from the settings file's folder.";
        schema.update(fixed);
        return schema;
    }
    if (parameter.kind == ParameterKind::Choice) {
        schema["default"] = choiceNames(parameter)[static_cast<std::size_t>(parameter.defaultValue)];
    } else {
        schema["default"] = number(parameter.defaultValue);
    }
    schema["anyOf"] = {fixed, moving(parameter)};
    return schema;
}

/// An object whose names are all frames or all times.
ordered_json times() {
    const auto named = [](const char* pattern) { return ordered_json{{"propertyNames", {{"pattern", pattern}}}}; };
    return {{"description", "Keys at frames or at times"},
            {"type", "object"},
            {"minProperties", 1},
            {"anyOf", {named(kFrame), named(kSeconds)}}};
}

ordered_json ease() {
    const ordered_json time = {{"type", "number"}, {"minimum", 0}, {"maximum", 1}};
    const ordered_json way = {{"type", "number"}, {"minimum", -100}, {"maximum", 100}};
    const ordered_json points = {{"type", "array"},
                                 {"prefixItems", ordered_json::array({time, way, time, way})},
                                 {"minItems", 4},
                                 {"maxItems", 4},
                                 {"description", "A cubic curve's two middle points: x1, y1, x2, y2"}};
    return {{"description", "How the value gets to the next key"},
            {"anyOf", {{{"enum", {"linear", "hold", "smooth"}}}, points}}};
}

}  // namespace

std::string settingsSchema() {
    ordered_json values = ordered_json::object();
    for (const Parameter& parameter : parameters()) {
        values[parameter.key] = described(parameter);
    }
    const ordered_json rate = {
        {"description", "Frames a second, which keys at times count in; 25, 23.976 or \"30000/1001\""},
        {"anyOf",
         {{{"type", "number"}, {"exclusiveMinimum", 0}, {"maximum", 1000}},
          {{"type", "string"}, {"pattern", kRateText}}}}};
    ordered_json schema = {
        {"$schema", "https://ordered_json-schema.org/draft/2020-12/schema"},
        {"title", "Quorvel settings"},
        {"description",
         "Values of the effect's parameters, fixed or moving. Keys are frame numbers such as \"24\", or times "
         "such as \"1.5s\"."}};
    schema.update(object({{"$schema", text("This schema's address, for editors")},
                          {"quorvel", {{"const", 1}, {"description", "The version of the form"}}},
                          {"name", text("To show")},
                          {"rate", rate},
                          {"values", object(values, ordered_json::array())}},
                         ordered_json::array({"quorvel", "values"})));
    schema["$defs"] = {{"times", times()},
                       {"ease", ease()},
                       {"outside",
                        {{"description", "What the value does before its first key or after its last"},
                         {"enum", {"hold", "repeat", "extend"}}}}};
    return schema.dump(2) + "\n";
}

}  // namespace quorvel::settings
