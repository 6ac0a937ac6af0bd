// SPDX-License-Identifier: MIT
#include "settings/schema.h"

#include <nlohmann/json.hpp>

#include "effect/parameters.h"
#include "settings/parameter_words.h"

namespace quorvel::settings {
namespace {

using json = nlohmann::ordered_json;

constexpr char kFrame[] = "^[+-]?0*[0-9]{1,8}$";
constexpr char kSeconds[] = "^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?s$";
constexpr char kRateText[] = "^\\+?[0-9]+(\\.[0-9]*)?(/\\+?[0-9]+(\\.[0-9]*)?)?$";

json number(double value) {
    return json::parse(exactText(value));
}

json text(const char* description) {
    return {{"type", "string"}, {"description", description}};
}

/// An object of these properties and no others.
json object(const json& properties, const json& required) {
    return {{"type", "object"}, {"properties", properties}, {"required", required}, {"additionalProperties", false}};
}

/// A value that stands still; `whole` refuses fractions.
json value(const Parameter& parameter, bool whole) {
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

json moving(const Parameter& parameter) {
    const json plain = value(parameter, false);
    const json toNext = isNumber(parameter)
                            ? json{{"$ref", "#/$defs/ease"}}
                            : json{{"const", "hold"}, {"description", "A choice has nothing between two keys"}};
    const json key = {{"anyOf", {plain, object({{"value", plain}, {"to-next", toNext}}, json::array({"value"}))}}};
    const json outside = {{"$ref", "#/$defs/outside"}};
    return object(
        {{"keys", {{"$ref", "#/$defs/times"}, {"additionalProperties", key}}}, {"before", outside}, {"after", outside}},
        json::array({"keys"}));
}

json described(const Parameter& parameter) {
    json schema = {{"title", parameter.name}, {"description", parameter.help}};
    const json fixed = value(parameter, parameter.kind == ParameterKind::Count);
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
json times() {
    const auto named = [](const char* pattern) { return json{{"propertyNames", {{"pattern", pattern}}}}; };
    return {{"description", "Keys at frames or at times"},
            {"type", "object"},
            {"minProperties", 1},
            {"anyOf", {named(kFrame), named(kSeconds)}}};
}

json ease() {
    const json time = {{"type", "number"}, {"minimum", 0}, {"maximum", 1}};
    const json way = {{"type", "number"}, {"minimum", -100}, {"maximum", 100}};
    const json points = {{"type", "array"},
                         {"prefixItems", json::array({time, way, time, way})},
                         {"minItems", 4},
                         {"maxItems", 4},
                         {"description", "A cubic curve's two middle points: x1, y1, x2, y2"}};
    return {{"description", "How the value gets to the next key"},
            {"anyOf", {{{"enum", {"linear", "hold", "smooth"}}}, points}}};
}

}  // namespace

std::string settingsSchema() {
    json values = json::object();
    for (const Parameter& parameter : parameters()) {
        values[parameter.key] = described(parameter);
    }
    const json rate = {{"description", "Frames a second, which keys at times count in; 25, 23.976 or \"30000/1001\""},
                       {"anyOf",
                        {{{"type", "number"}, {"exclusiveMinimum", 0}, {"maximum", 1000}},
                         {{"type", "string"}, {"pattern", kRateText}}}}};
    json schema = {
        {"$schema", "https://json-schema.org/draft/2020-12/schema"},
        {"title", "Quorvel settings"},
        {"description",
         "Values of the effect's parameters, fixed or moving. Keys are frame numbers such as \"24\", or times "
         "such as \"1.5s\"."}};
    schema.update(object({{"$schema", text("This schema's address, for editors")},
                          {"quorvel", {{"const", 1}, {"description", "The version of the form"}}},
                          {"name", text("To show")},
                          {"rate", rate},
                          {"values", object(values, json::array())}},
                         json::array({"quorvel", "values"})));
    schema["$defs"] = {{"times", times()},
                       {"ease", ease()},
                       {"outside",
                        {{"description", "What the value does before its first key or after its last"},
                         {"enum", {"hold", "repeat", "extend"}}}}};
    return schema.dump(2) + "\n";
}

}  // namespace quorvel::settings
