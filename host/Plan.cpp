#include "host/Plan.h"

#include "host/Failure.h"
#include "host/Vocabulary.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <span>

#include <toml++/toml.h>

namespace Velreplay {

namespace {

constexpr const char* quotesHint = "whole numbers from 2^63 on stand in quotes, others do not";

/// A table of the plan that says where it stands when something in it is wrong.
class Section {
public:
    Section(const std::string& itsFile, const toml::table& itsTable, std::initializer_list<std::string_view> keys)
        : file(itsFile), table(itsTable) {
        for (const auto& [key, node] : table)
            if (std::find(keys.begin(), keys.end(), key.str()) == keys.end())
                RefuseKey(std::string(key.str()), node, keys);
    }

    std::string Place(const toml::node& node) const { return file + ":" + std::to_string(node.source().begin.line); }
    std::string Place() const { return Place(table); }
    const toml::node* Find(std::string_view key) const { return table.get(key); }

    template <class T>
    std::optional<T> Get(std::string_view key, const char* expected) const {
        const toml::node* const node = Find(key);
        if (node == nullptr)
            return std::nullopt;
        const auto value = node->value_exact<T>();
        if (!value)
            throw Failure(Place(*node), "\"" + std::string(key) + "\" is not " + expected);
        return *value;
    }
    std::optional<std::string> Text(std::string_view key) const { return Get<std::string>(key, "a text in quotes"); }
    std::string NeededText(std::string_view key) const {
        if (const auto text = Text(key))
            return *text;
        throw Failure(Place(), "\"" + std::string(key) + "\" is missing", "add: " + std::string(key) + " = \"...\"");
    }

    std::vector<std::string> Texts(std::string_view key) const {
        std::vector<std::string> texts;
        for (const toml::node& node : Array(key)) {
            const auto text = node.value_exact<std::string>();
            if (!text)
                throw Failure(Place(node), "\"" + std::string(key) + "\" is not a list of names",
                              "write: " + std::string(key) + R"( = ["...", "..."])");
            texts.push_back(*text);
        }
        return texts;
    }

    /// [[key]]
    std::vector<const toml::table*> Tables(std::string_view key) const {
        std::vector<const toml::table*> tables;
        for (const toml::node& node : Array(key)) {
            if (!node.is_table())
                throw Failure(Place(node), "\"" + std::string(key) + "\" is not a list of tables",
                              "begin each with [[" + std::string(key) + "]]");
            tables.push_back(node.as_table());
        }
        return tables;
    }

private:
    const toml::array& Array(std::string_view key) const {
        static const toml::array none;
        const toml::node* const node = Find(key);
        if (node == nullptr)
            return none;
        if (!node->is_array())
            throw Failure(Place(*node), "\"" + std::string(key) + "\" is not a list");
        return *node->as_array();
    }
    [[noreturn]] void RefuseKey(const std::string& key, const toml::node& node,
                                std::initializer_list<std::string_view> keys) const {
        std::string remedy = "known here:";
        for (const std::string_view known : keys)
            remedy.append(" ").append(known);
        throw Failure(Place(node), "unknown key \"" + key + "\"", remedy);
    }

    const std::string& file;
    const toml::table& table;
};

/// A whole number in quotes, decimal or, after 0x, hexadecimal.
std::optional<std::uint64_t> QuotedWhole(const toml::node& node) {
    std::string_view text = node.value_exact<std::string_view>().value_or("");
    const bool isHexadecimal = text.starts_with("0x");
    if (isHexadecimal)
        text.remove_prefix(2);
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, isHexadecimal ? 16 : 10);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

/// Takes a number of the plan as NoValue. False: it is none of the type.
template <class T>
bool SetNoValue(Samples<T>& samples, const toml::node& node) {
    if constexpr (std::is_floating_point_v<T>) {
        const auto number = node.value<double>();
        samples.noValue = static_cast<T>(number.value_or(0));
        return node.is_number() && number.has_value();
    } else {
        if (const auto quoted = QuotedWhole(node)) {
            samples.noValue = static_cast<T>(*quoted);
            return std::in_range<T>(*quoted);
        }
        const auto number = node.value_exact<std::int64_t>();
        if (!number || !std::in_range<T>(*number))
            return false;
        samples.noValue = static_cast<T>(*number);
        return true;
    }
}

Channel ReadChannel(const Section& section, const std::string& name) {
    const std::string type = section.NeededText("type");
    const auto letter = TypeLetter(type);
    if (!letter)
        throw Failure(section.Place(), "channel \"" + name + "\" has the unknown type \"" + type + "\"",
                      "the types are " + TypeNames());
    Channel channel{name, SamplesOfType(*letter)};
    const toml::node* const noValue = section.Find("no_value");
    if (noValue != nullptr &&
        !std::visit([&](auto& samples) { return SetNoValue(samples, *noValue); }, channel.samples))
        throw Failure(section.Place(*noValue), "\"no_value\" is no number of the type " + type, quotesHint);
    return channel;
}

ConstantPlan ReadConstant(const std::string& file, const toml::table& table) {
    const Section section(file, table, {"name", "type", "value", "no_value"});
    ConstantPlan plan{section.Place(), ReadChannel(section, section.NeededText("name")), {}};
    plan.value = plan.channel.samples;
    const toml::node* const value = section.Find("value");
    if (value != nullptr && !std::visit([&](auto& samples) { return SetNoValue(samples, *value); }, plan.value))
        throw Failure(section.Place(*value), "\"value\" is no number of the channel's type", quotesHint);
    return plan;
}

std::vector<std::array<double, 2>> ReadPairs(const Section& section, const toml::array& array) {
    std::vector<std::array<double, 2>> pairs;
    for (const toml::node& node : array) {
        const toml::array* const pair = node.as_array();
        if (pair == nullptr || pair->size() != 2 || !(*pair)[0].is_number() || !(*pair)[1].is_number())
            throw Failure(section.Place(node), "this is no pair of numbers", "write: [[0.0, 1.0], [2.5, 3.0]]");
        pairs.push_back({*(*pair)[0].value<double>(), *(*pair)[1].value<double>()});
    }
    return pairs;
}

Value ReadValue(const Section& section, std::string_view name, const toml::node& node) {
    if (const auto* flag = node.as_boolean())
        return flag->get();
    if (const auto* whole = node.as_integer())
        return whole->get();
    if (const auto quoted = QuotedWhole(node))
        return *quoted;
    if (const auto* number = node.as_floating_point())
        return number->get();
    if (const auto* array = node.as_array())
        return ReadPairs(section, *array);
    throw Failure(section.Place(node), "parameter \"" + std::string(name) + "\" is neither a number nor a list",
                  quotesHint);
}

ComputationPlan ReadComputation(const std::string& file, const toml::table& table) {
    const Section section(
        file, table, {"name", "names", "operation", "type", "operands", "no_value_aware", "no_value", "parameters"});
    ComputationPlan plan;
    std::vector<std::string> names = section.Texts("names");
    if (names.empty())
        names.push_back(section.NeededText("name"));
    else if (section.Find("name") != nullptr)
        throw Failure(section.Place(), R"(both "name" and "names" are given)", "keep one of them");
    for (const std::string& name : names)
        plan.results.push_back(ReadChannel(section, name));
    plan.place = section.Place() + ": channel \"" + names.front() + "\"";
    plan.operation = section.NeededText("operation");
    plan.operands = section.Texts("operands");
    plan.noValueAware = section.Get<bool>("no_value_aware", "true or false").value_or(true);
    if (const toml::node* const parameters = section.Find("parameters")) {
        if (!parameters->is_table())
            throw Failure(section.Place(*parameters), "\"parameters\" is not a table",
                          "write: parameters = { name = value }");
        for (const auto& [key, node] : *parameters->as_table())
            plan.parameters.emplace(key.str(), ReadValue(section, key.str(), node));
    }
    return plan;
}

PicturePlan ReadPicture(const std::string& file, const toml::table& table) {
    const Section section(file, table, {"title", "x", "x_title", "panels"});
    PicturePlan picture;
    picture.place = section.Place();
    picture.title = section.Text("title").value_or("");
    picture.x = section.NeededText("x");
    picture.xTitle = section.Text("x_title").value_or("");
    for (const toml::table* const panel : section.Tables("panels")) {
        const Section inner(file, *panel, {"title", "unit", "channels"});
        picture.panels.push_back({inner.Place(), inner.Text("title").value_or(""), inner.Text("unit").value_or(""),
                                  inner.Texts("channels")});
    }
    return picture;
}

toml::table Parse(const std::string& file) {
    std::error_code error;
    if (std::filesystem::is_directory(file, error)) // which would read like an empty file
        throw Failure(file, "the plan is a folder", "name a TOML file");
    try {
        return toml::parse_file(file);
    } catch (const toml::parse_error& mistake) {
        const auto line = mistake.source().begin.line;
        if (line == 0)
            throw Failure(file, "the plan cannot be read", "name a TOML file that exists");
        throw Failure(file + ":" + std::to_string(line), std::string(mistake.description()),
                      "correct the TOML; whole numbers from 2^63 on stand in quotes");
    }
}

} // namespace

Plan ReadPlan(const std::string& file) {
    const toml::table table = Parse(file);
    const Section section(file, table, {"output", "inputs", "constants", "channels", "plot"});
    Plan plan;
    plan.file = file;
    plan.output = section.Texts("output");
    for (const toml::table* const input : section.Tables("inputs")) {
        const Section inner(file, *input, {"name", "type", "no_value"});
        plan.inputs.push_back({inner.Place(), ReadChannel(inner, inner.NeededText("name"))});
    }
    for (const toml::table* const constant : section.Tables("constants"))
        plan.constants.push_back(ReadConstant(file, *constant));
    for (const toml::table* const channel : section.Tables("channels"))
        plan.computations.push_back(ReadComputation(file, *channel));
    if (const toml::node* const plot = section.Find("plot")) {
        if (!plot->is_table())
            throw Failure(section.Place(*plot), "\"plot\" is not a table", "write: [plot]");
        plan.picture = ReadPicture(file, *plot->as_table());
    }
    if (plan.inputs.empty())
        throw Failure(file, "the plan has no input channel", "add: [[inputs]] with name and type");
    return plan;
}

} // namespace Velreplay
