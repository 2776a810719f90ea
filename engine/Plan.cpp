#include "engine/Assembly.h"

#include "engine/Duration.h"
#include "engine/PlanExtent.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <utility>

#include <toml++/toml.h>

namespace Vel::Engine {

/// A parsed plan. Sections point into its tables.
struct PlanText {
    std::string name;
    toml::table table;
};

namespace {

constexpr const char* quotesHint = "whole numbers from 2^63 on stand in quotes, others do not";
constexpr std::array<std::string_view, 2> tablesOfHosts{"plot", "recording"};

/// A section with its nodes.
class Reader : public Section {
public:
    explicit Reader(const Section& section) : Section(section) {}
    Reader(const Section& section, std::initializer_list<std::string_view> keys) : Section(section) { Allow(keys); }

    const toml::table& Table() const { return *static_cast<const toml::table*>(table); }
    const toml::node* Find(std::string_view key) const { return Table().get(key); }
    const std::string& Name() const { return text->name; }
    std::string PlaceOf(const toml::source_position& position) const {
        return text->name + ":" + std::to_string(position.line);
    }
    std::string PlaceOf(const toml::node& node) const { return PlaceOf(node.source().begin); }
    Section Inner(const toml::node& node) const { return {text, node.as_table()}; }

    template <class T>
    std::optional<T> Get(std::string_view key, const char* expected) const {
        const toml::node* const node = Find(key);
        if (node == nullptr)
            return std::nullopt;
        const auto value = node->value_exact<T>();
        if (!value)
            throw Error(PlaceOf(*node), Quoted(key) + " is not " + expected);
        return *value;
    }
    const toml::array& Array(std::string_view key) const {
        static const toml::array none;
        const toml::node* const node = Find(key);
        if (node == nullptr)
            return none;
        if (!node->is_array())
            throw Error(PlaceOf(*node), Quoted(key) + " is not a list");
        return *node->as_array();
    }
    const toml::table* TableAt(std::string_view key, const char* remedy) const {
        const toml::node* const node = Find(key);
        if (node == nullptr)
            return nullptr;
        if (!node->is_table())
            throw Error(PlaceOf(*node), Quoted(key) + " is not a table", remedy);
        return node->as_table();
    }
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

/// A number of the plan as a sample; empty if the type cannot hold it.
template <Sample T>
std::optional<AnySample> ReadSample(const toml::node& node) {
    if constexpr (std::is_floating_point_v<T>) {
        const auto number = node.value<double>();
        return node.is_number() && number ? std::optional(AnySample(static_cast<T>(*number))) : std::nullopt;
    } else {
        if (const auto quoted = QuotedWhole(node))
            return std::in_range<T>(*quoted) ? std::optional(AnySample(static_cast<T>(*quoted))) : std::nullopt;
        const auto number = node.value_exact<std::int64_t>();
        return number && std::in_range<T>(*number) ? std::optional(AnySample(static_cast<T>(*number))) : std::nullopt;
    }
}

/// The sample given by a key; `otherwise`, which has the wanted type, if the key is missing.
AnySample ReadSample(const Reader& section, std::string_view key, const AnySample& otherwise) {
    const toml::node* const node = section.Find(key);
    if (node == nullptr)
        return otherwise;
    if (const auto sample = std::visit([&]<class T>(T) { return ReadSample<T>(*node); }, otherwise))
        return *sample;
    throw Error(section.PlaceOf(*node),
                Quoted(key) + " is no number of the type " + std::string(sampleTypes[otherwise.index()].name),
                quotesHint);
}

Channel ReadChannel(const Reader& section, const std::string& name) {
    const std::string typeName = section.NeededText("type");
    const auto type = FindType(typeName);
    if (!type)
        throw Error(section.Place(), "channel " + Quoted(name) + " has the unknown type " + Quoted(typeName),
                    "the types are " + TypeNames() + "; inputs may have the type Time as well");
    return {name, ReadSample(section, "no_value", DefaultNoValue(type->letter))};
}

std::vector<std::array<double, 2>> ReadPairs(const Reader& section, const toml::array& array) {
    std::vector<std::array<double, 2>> pairs;
    for (const toml::node& node : array) {
        const toml::array* const pair = node.as_array();
        if (pair == nullptr || pair->size() != 2 || !(*pair)[0].is_number() || !(*pair)[1].is_number())
            throw Error(section.PlaceOf(node), "this is no pair of numbers", "write: [[0.0, 1.0], [2.5, 3.0]]");
        pairs.push_back({*(*pair)[0].value<double>(), *(*pair)[1].value<double>()});
    }
    return pairs;
}

/// Reads a value. Empty if the node is not one.
std::optional<Value> ReadValue(const Reader& section, const toml::node& node) {
    if (const auto* flag = node.as_boolean())
        return flag->get();
    if (const auto* whole = node.as_integer())
        return whole->get();
    if (const auto quoted = QuotedWhole(node))
        return *quoted;
    if (const auto* number = node.as_floating_point())
        return number->get();
    if (const auto* text = node.as_string())
        if (auto duration = ParseDuration(text->get()))
            return std::move(*duration);
    if (const auto* array = node.as_array())
        return ReadPairs(section, *array);
    return std::nullopt;
}

/// A value, or the name of a setting.
Value ReadParameter(const Reader& section, std::string_view name, const toml::node& node,
                    const ParametersByName& settings) {
    if (const auto value = ReadValue(section, node))
        return *value;
    const auto text = node.value_exact<std::string>();
    if (!text)
        throw Error(section.PlaceOf(node), "parameter " + Quoted(name) + " is neither a number nor a list", quotesHint);
    const auto setting = settings.find(*text);
    if (setting == settings.end())
        throw Error(section.PlaceOf(node),
                    "parameter " + Quoted(name) + " is the text " + Quoted(*text) + ", and no setting has this name",
                    std::string("write a number, a list, or a name of [settings]; ") + durationHint);
    return setting->second;
}

/// A time in seconds: a number, a duration, or the name of a setting that holds one of them.
std::optional<double> ReadSeconds(const Reader& section, std::string_view key, const ParametersByName& settings) {
    const toml::node* const node = section.Find(key);
    if (node == nullptr)
        return std::nullopt;
    const Value value = ReadParameter(section, key, *node, settings);
    const double seconds = std::visit(
        []<class T>(const T& given) {
            if constexpr (std::is_same_v<T, Duration>)
                return given.seconds;
            else if constexpr (std::is_arithmetic_v<T> && !std::is_same_v<T, bool>)
                return static_cast<double>(given);
            else
                return 0.0;
        },
        value);
    if (!(seconds > 0))
        throw Error(section.PlaceOf(*node), Quoted(key) + " is no time above 0", "write seconds, or \"100 ms\"");
    return seconds;
}

constexpr std::string_view timeType = "Time";

TimeForm ReadTimeForm(const Reader& section) {
    TimeForm form;
    const std::string format = section.Text("format").value_or("iso");
    if (format == "unix")
        form.kind = TimeForm::Kind::UnixSeconds;
    else if (format == "unix_ms")
        form.kind = TimeForm::Kind::UnixMilliseconds;
    else if (format.find('%') != std::string::npos) {
        form.kind = TimeForm::Kind::Pattern;
        form.pattern = format;
    } else if (format != "iso")
        throw Error(section.PlaceOf(*section.Find("format")), "the format " + Quoted(format) + " is unknown",
                    R"(write "iso", "unix", "unix_ms" or a form such as "%d.%m.%Y %H:%M:%S")");
    form.zone = section.Text("zone").value_or("");
    const std::string clock = section.Text("clock").value_or("utc");
    form.isLocal = clock == "local";
    if (!form.isLocal && clock != "utc")
        throw Error(section.PlaceOf(*section.Find("clock")), "the clock " + Quoted(clock) + " is unknown",
                    R"(write "utc", or "local" for the wall time of the zone)");
    if (form.isLocal && form.zone.empty())
        throw Error(section.PlaceOf(*section.Find("clock")), "the clock is local, but no zone is given",
                    R"(add: zone = "Europe/Berlin")");
    return form;
}

/// The parts of a plan that all its channels use.
struct Frame {
    ParametersByName settings;
    std::optional<double> period; ///< seconds from row to row
    bool hasRaster;
};

std::uint64_t ReadHold(const Reader& section, const Frame& frame) {
    const toml::node* const node = section.Find("hold");
    return node == nullptr
               ? 0
               : HoldRows(ReadParameter(section, "hold", *node, frame.settings), frame.period, section.PlaceOf(*node));
}

bool ReadIsInterpolated(const Reader& section, const Channel& channel, const Frame& frame) {
    const toml::node* const node = section.Find("resample");
    if (node == nullptr)
        return false;
    const std::string word = *section.Text("resample");
    if (word != "last" && word != "linear")
        throw Error(section.PlaceOf(*node), "\"resample\" cannot be " + Quoted(word), R"(write "last" or "linear")");
    if (!frame.hasRaster)
        throw Error(section.PlaceOf(*node), "\"resample\" has no effect without a raster",
                    "add [raster], or leave it out");
    if (word == "linear" && !channel.Type().isFloating)
        throw Error(section.PlaceOf(*node),
                    "there is no line between samples of the type " + std::string(channel.Type().name),
                    R"(write type = "Float64", or resample = "last")");
    return word == "linear";
}

InputPlan ReadInput(const Section& table, const Frame& frame) {
    const Reader section(table, {"name", "column", "type", "no_value", "hold", "resample", "format", "zone", "clock"});
    const std::string name = section.NeededText("name");
    InputPlan input{section.Place(), {}, section.Text("column").value_or(name), ReadHold(section, frame)};
    if (section.NeededText("type") == timeType) {
        input.channel = {name, ReadSample(section, "no_value", DefaultNoValue('D'))};
        input.time = ReadTimeForm(section);
    } else {
        for (const std::string_view key : {"format", "zone", "clock"})
            if (const toml::node* const node = section.Find(key))
                throw Error(section.PlaceOf(*node), Quoted(key) + " is for times alone", R"(write: type = "Time")");
        input.channel = ReadChannel(section, name);
    }
    input.isInterpolated = ReadIsInterpolated(section, input.channel, frame);
    return input;
}

ConstantPlan ReadConstant(const Section& table) {
    const Reader section(table, {"name", "type", "value", "no_value", "inner"});
    const Channel channel = ReadChannel(section, section.NeededText("name"));
    return {section.Place(), channel, ReadSample(section, "value", channel.noValue),
            section.Flag("inner").value_or(false)};
}

bool ReadIsNoValueWhenRefused(const Reader& section) {
    const std::string word = section.Text("when_refused").value_or(std::string(whenRefused.front()));
    if (std::find(whenRefused.begin(), whenRefused.end(), word) == whenRefused.end())
        throw Error(section.PlaceOf(*section.Find("when_refused")), "\"when_refused\" cannot be " + Quoted(word),
                    R"(write "keep" or "no_value")");
    return word == whenRefused.back();
}

ComputationPlan ReadComputation(const Section& table, const Frame& frame) {
    const Reader section(table, {"name", "names", "operation", "type", "operands", "no_value_aware", "no_value",
                                 "own_result_over_gaps", "reset_when", "reset_on_change", "hold", "when_refused",
                                 "parameters", "inner"});
    ComputationPlan plan;
    std::vector<std::string> names = section.Texts("names");
    if (names.empty())
        names.push_back(section.NeededText("name"));
    else if (section.Has("name"))
        throw Error(section.Place(), R"(both "name" and "names" are given)", "keep one of them");
    for (const std::string& name : names)
        plan.results.push_back(ReadChannel(section, name));
    plan.place = section.Place() + ": channel " + Quoted(names.front());
    plan.operation = section.NeededText("operation");
    plan.operands = section.Texts("operands");
    plan.noValueAware = section.Flag("no_value_aware").value_or(true);
    plan.showsOwnResultOverGaps = section.Flag("own_result_over_gaps").value_or(false);
    plan.resetWhen = section.Text("reset_when").value_or("");
    plan.resetOnChange = section.Text("reset_on_change").value_or("");
    plan.holdRows = ReadHold(section, frame);
    plan.isNoValueWhenRefused = ReadIsNoValueWhenRefused(section);
    plan.isInner = section.Flag("inner").value_or(false);
    if (const toml::table* const parameters = section.TableAt("parameters", "write: parameters = { name = value }"))
        for (const auto& [key, node] : *parameters)
            plan.parameters.emplace(key.str(), ReadParameter(section, key.str(), node, frame.settings));
    return plan;
}

/// An entry of a table with user-defined names, and its place in the file. The TOML library sorts tables by name.
struct Entry {
    toml::source_position position;
    std::string name;
    const toml::node* node;
    std::string place;
};

std::vector<Entry> EntriesOf(const Reader& section, std::string_view key) {
    std::vector<Entry> entries;
    if (const toml::table* const table = section.TableAt(key, ("write: [" + std::string(key) + "]").c_str()))
        for (const auto& [name, node] : *table)
            entries.push_back(
                {name.source().begin, std::string(name.str()), &node, section.PlaceOf(name.source().begin)});
    return entries;
}

/// The settings of the plan, overridden by those given.
ParametersByName ReadSettings(const Reader& section, const ParametersByName& given, std::vector<Setting>& places) {
    ParametersByName settings;
    for (const Entry& entry : EntriesOf(section, "settings")) {
        const auto value = ReadValue(section, *entry.node);
        if (!value)
            throw Error(entry.place, "setting " + Quoted(entry.name) + " is neither a number, a list nor a duration",
                        std::string(quotesHint) + "; " + durationHint);
        settings.emplace(entry.name, *value);
        places.push_back({entry.name, entry.place + ": setting " + Quoted(entry.name)});
    }
    for (const auto& [name, value] : given) {
        const auto setting = settings.find(name);
        if (setting == settings.end()) {
            std::string known;
            for (const auto& [other, ignored] : settings)
                known += " " + other;
            throw Error(section.Name(), "the plan has no setting " + Quoted(name),
                        known.empty() ? "add it to the table [settings]" : "it has:" + known);
        }
        setting->second = value;
    }
    return settings;
}

/// Blocks and formulas in the order of their lines.
std::vector<PlanLine> ReadLines(const Reader& section, const Frame& frame) {
    std::vector<std::pair<toml::source_position, PlanLine>> lines;
    for (const Section& channel : section.Tables("channels"))
        lines.emplace_back(Reader(channel).Table().source().begin, ReadComputation(channel, frame));
    for (const Entry& entry : EntriesOf(section, "compute")) {
        const auto text = entry.node->value_exact<std::string>();
        if (!text)
            throw Error(entry.place, "the formula of " + Quoted(entry.name) + " is no text",
                        entry.node->is_table()
                            ? "a name with a point in it stands in quotes: \"a.b\" = \"...\""
                            : "write it in quotes; what is the same in every row is a setting ([settings]) or "
                              "a constant ([[constants]])");
        lines.emplace_back(entry.position, std::make_unique<Formula>(entry.name, *text, entry.place, frame.settings));
    }
    std::stable_sort(lines.begin(), lines.end(), [](const auto& a, const auto& b) {
        return std::pair(a.first.line, a.first.column) < std::pair(b.first.line, b.first.column);
    });
    std::vector<PlanLine> sorted;
    sorted.reserve(lines.size());
    for (auto& [position, line] : lines)
        sorted.push_back(std::move(line));
    return sorted;
}

void ReadPlanTable(const Reader& section, Plan& plan, const ParametersByName& settings) {
    const toml::table* const table = section.TableAt("plan", "write: [plan]");
    if (table == nullptr)
        return;
    const Reader frame(section.Inner(*table), {"output", "keep", "sample_period", "rows_when", "rows_before_change"});
    plan.rowsWhen = frame.Text("rows_when").value_or("");
    plan.rowsBeforeChange = frame.Text("rows_before_change").value_or("");
    if (!plan.rowsWhen.empty() && !plan.rowsBeforeChange.empty())
        throw Error(frame.PlaceOf(*frame.Find("rows_when")), "the plan has both rows_when and rows_before_change",
                    "keep one of them");
    plan.samplePeriod = ReadSeconds(frame, "sample_period", settings);
    plan.output = frame.Texts("output");
    const toml::node* const keep = frame.Find("keep");
    plan.keepsAll = keep != nullptr && keep->value_exact<std::string_view>() == "all";
    if (keep != nullptr && !plan.keepsAll && !keep->is_array())
        throw Error(frame.PlaceOf(*keep), "\"keep\" is neither \"all\" nor a list of names",
                    R"(write: keep = ["operator", "comment"], or keep = "all")");
    if (!plan.keepsAll)
        plan.keep = frame.Texts("keep");
}

std::optional<RasterPlan> ReadRaster(const Reader& section, const ParametersByName& settings) {
    const toml::table* const table = section.TableAt("raster", "write: [raster]");
    if (table == nullptr)
        return std::nullopt;
    const Reader reader(section.Inner(*table), {"time", "period", "max_gap", "align", "max_step", "on_step"});
    RasterPlan raster;
    raster.place = reader.Place() + ": raster";
    raster.time = reader.NeededText("time");
    const auto period = ReadSeconds(reader, "period", settings);
    if (!period || !std::isfinite(*period))
        throw Error(raster.place, period ? "\"period\" has no end" : "\"period\" is missing",
                    "write seconds, or a duration: period = \"100 ms\"");
    raster.period = *period;
    raster.maxGap = ReadSeconds(reader, "max_gap", settings).value_or(raster.maxGap);
    raster.maxStep = ReadSeconds(reader, "max_step", settings).value_or(raster.maxStep);
    raster.isAligned = reader.Flag("align").value_or(false);
    const std::string onStep = reader.Text("on_step").value_or("error");
    if (onStep != "error" && onStep != "reset")
        throw Error(reader.PlaceOf(*reader.Find("on_step")), "\"on_step\" cannot be " + Quoted(onStep),
                    R"(write "error", or "reset" to begin anew)");
    raster.beginsAnewOnStep = onStep == "reset";
    return raster;
}

std::shared_ptr<const PlanText> Parse(std::string_view text, const std::string& name) {
    CheckExtent(text, name);
    try {
        return std::make_shared<const PlanText>(PlanText{name, toml::parse(text, name)});
    } catch (const toml::parse_error& mistake) {
        const std::string what(mistake.description());
        const bool isTooLarge = what.find("64-bit") != std::string::npos;
        throw Error(name + ":" + std::to_string(mistake.source().begin.line), what,
                    isTooLarge ? "whole numbers from 2^63 on stand in quotes" : "correct the TOML");
    }
}

} // namespace

std::string Section::Place() const {
    const Reader reader(*this);
    return reader.PlaceOf(reader.Table());
}

bool Section::Has(std::string_view key) const { return Reader(*this).Find(key) != nullptr; }

std::optional<bool> Section::Flag(std::string_view key) const { return Reader(*this).Get<bool>(key, "true or false"); }

std::optional<std::int64_t> Section::Whole(std::string_view key) const {
    return Reader(*this).Get<std::int64_t>(key, "a whole number");
}

std::optional<std::string> Section::Text(std::string_view key) const {
    return Reader(*this).Get<std::string>(key, "a text in quotes");
}

std::string Section::NeededText(std::string_view key) const {
    if (const auto found = Text(key))
        return *found;
    throw Error(Place(), Quoted(key) + " is missing", "add: " + std::string(key) + " = \"...\"");
}

std::vector<std::string> Section::Texts(std::string_view key) const {
    const Reader reader(*this);
    std::vector<std::string> texts;
    for (const toml::node& node : reader.Array(key)) {
        const auto item = node.value_exact<std::string>();
        if (!item)
            throw Error(reader.PlaceOf(node), Quoted(key) + " is not a list of names",
                        "write: " + std::string(key) + R"( = ["...", "..."])");
        texts.push_back(*item);
    }
    return texts;
}

std::vector<Section> Section::Tables(std::string_view key) const {
    const Reader reader(*this);
    std::vector<Section> tables;
    for (const toml::node& node : reader.Array(key)) {
        if (!node.is_table())
            throw Error(reader.PlaceOf(node), Quoted(key) + " is not a list of tables",
                        "begin each with [[" + std::string(key) + "]]");
        tables.push_back(reader.Inner(node));
    }
    return tables;
}

void Section::Allow(std::initializer_list<std::string_view> keys) const {
    const Reader reader(*this);
    for (const auto& [key, node] : reader.Table()) {
        if (std::find(keys.begin(), keys.end(), key.str()) != keys.end())
            continue;
        std::string remedy = "known here:";
        for (const std::string_view known : keys)
            remedy.append(" ").append(known);
        throw Error(reader.PlaceOf(node), "unknown key " + Quoted(key.str()), remedy);
    }
}

std::string Section::Written(std::string_view name) const {
    std::ostringstream written;
    written << toml::table{{name, Reader(*this).Table()}} << '\n';
    return written.str();
}

Plan ParsePlan(std::string_view text, const std::string& name, const ParametersByName& settings) {
    const std::shared_ptr<const PlanText> parsed = Parse(text, name);
    const Reader section(Section(parsed, &parsed->table));
    section.Allow({"plan", "settings", "inputs", "raster", "constants", "channels", "compute", "plot", "recording"});
    Plan plan;
    plan.name = name;
    plan.text = text;
    std::vector<Setting> places;
    const ParametersByName values = ReadSettings(section, settings, places);
    ReadPlanTable(section, plan, values);
    plan.raster = ReadRaster(section, values);
    if (plan.raster && plan.samplePeriod)
        throw Error(plan.raster->place, "the plan has both a raster and a sample_period",
                    "keep one of them: the period of the raster is that of the rows");
    const Frame frame{values, plan.raster ? plan.raster->period : plan.samplePeriod, plan.raster.has_value()};
    for (const Section& input : section.Tables("inputs"))
        plan.inputs.push_back(ReadInput(input, frame));
    for (const Section& constant : section.Tables("constants"))
        plan.constants.push_back(ReadConstant(constant));
    Assemble(plan, ReadLines(section, frame), places);
    for (const std::string_view key : tablesOfHosts)
        if (const toml::table* const table = section.TableAt(key, ("write: [" + std::string(key) + "]").c_str()))
            plan.sections.emplace(key, section.Inner(*table));
    if (plan.inputs.empty())
        throw Error(name, "the plan has no input channel", "add: [[inputs]] with name and type");
    return plan;
}

Value ParseValue(std::string_view text, const std::string& place) {
    if (auto duration = ParseDuration(text))
        return std::move(*duration);
    const std::shared_ptr<const PlanText> parsed = Parse("value = " + std::string(text), place);
    const Reader section(Section(parsed, &parsed->table));
    if (const toml::node* const node = section.Find("value"); node != nullptr && parsed->table.size() == 1)
        if (const auto value = ReadValue(section, *node))
            return *value;
    throw Error(place, Quoted(text) + " is no value",
                std::string("write a number, true, false or a list of pairs; ") + durationHint);
}

Plan LoadPlan(const std::string& file, const ParametersByName& settings) {
    std::error_code error;
    if (std::filesystem::is_directory(file, error)) // reading it would look like an empty file
        throw Error(file, "the plan is a folder", "name a TOML file");
    std::ifstream source(file, std::ios::binary);
    std::string text;
    while (source && text.size() <= mostPlanBytes) { // a device may never end
        constexpr std::size_t blockBytes = std::size_t{1} << 16;
        const std::size_t length = text.size();
        text.resize(length + blockBytes);
        source.read(text.data() + length, blockBytes);
        text.resize(length + static_cast<std::size_t>(source.gcount()));
    }
    if (!source.is_open() || source.bad())
        throw Error(file, "the plan cannot be read: " + ErrorText(), "name a TOML file that exists");
    return ParsePlan(text, file, settings);
}

} // namespace Vel::Engine
