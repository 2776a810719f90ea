/// The recordings that plans are replayed over: a stream of Arrow tables, or CSV files.
#pragma once

#include "ArrowReader.h"
#include "ArrowType.h"
#include "ArrowWriter.h"

#include "engine/Engine.h"
#include "recordings/CsvReader.h"
#include "recordings/FormatOptions.h"
#include "recordings/Times.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VelPython {

/// The schema of a stream, and its next array; an empty one at the end. Throws Vel::Error with the producer's message.
OwnedSchema ReadSchema(OwnedStream& stream);
OwnedArray ReadArray(OwnedStream& stream);

/// A recording, batch by batch. Columns that the result passes on unchanged are children of a batch.
class Recording {
public:
    virtual ~Recording() = default;

    /// Moves to the next batch. False if there is none.
    virtual bool Next() = 0;
    virtual std::size_t Rows() const = 0;

    /// Samples of an input in rows of the batch; fewer than requested if a value is not a valid sample. They are valid
    /// until the next call for this input.
    virtual ArrowReader::Block Read(std::size_t input, std::size_t begin, std::size_t count) = 0;
    /// Why Read returned fewer samples.
    virtual std::optional<Vel::Error> FaultOf(std::size_t input) const = 0;

    /// The child that an input's samples come from; empty if there are only samples.
    virtual std::optional<std::size_t> ChildOf(std::size_t input) const = 0;
    /// The format for an input of times, if the result cannot pass on its column; empty for other inputs.
    virtual std::string TimeFormatOf(std::size_t input) const = 0;
    /// Whether the samples of an input are rounded.
    virtual bool Rounds(std::size_t input) const = 0;
    /// How the texts of an input of times look; nothing before the first text, or if there are none.
    virtual std::optional<Vel::Recordings::TimeStyle> TimeStyleOf(std::size_t input) const = 0;
    /// The unit that the recording gives an input: by its row of units, or in a column's metadata. Empty if there is
    /// none.
    virtual std::string UnitOf(std::size_t input) const = 0;

    struct Kept {
        std::string name;
        std::size_t child;
    };
    virtual const std::vector<Kept>& KeptColumns() const = 0;
    virtual const ArrowSchema& SchemaOf(std::size_t child) const = 0;
    /// The batch. It lives as long as a reference to it.
    virtual std::shared_ptr<const OwnedArray> Batch() const = 0;

    /// Whether rows should be delivered as they arrive.
    virtual bool IsLive() const = 0;
    /// The share read so far, from 0 to 1, if known.
    virtual std::optional<double> Share() const = 0;
    virtual std::vector<Vel::Engine::Warning> Warnings() const = 0;
};

class ArrowRecording final : public Recording {
public:
    /// Reads tables from a stream. `itsRowsBefore` counts earlier rows of the same recording, for messages. Throws
    /// Vel::Error if the plan's columns are missing or have unsuitable types.
    ArrowRecording(OwnedStream itsStream, const Vel::Engine::Plan& plan,
                   const Vel::Recordings::FormatOptions& options = {}, std::uint64_t itsRowsBefore = 0);

    /// Reads all tables. Throws Vel::Error for the first value that is not a valid sample, before any is used.
    void ReadAll();

    bool Next() override;
    std::size_t Rows() const override { return rows; }
    ArrowReader::Block Read(std::size_t input, std::size_t begin, std::size_t count) override;
    std::optional<Vel::Error> FaultOf(std::size_t input) const override { return readers.at(input).Fault(); }
    std::optional<std::size_t> ChildOf(std::size_t input) const override { return children.at(input); }
    std::string TimeFormatOf(std::size_t input) const override { return timeFormats.at(input); }
    bool Rounds(std::size_t input) const override { return readers.at(input).Rounds(); }
    std::optional<Vel::Recordings::TimeStyle> TimeStyleOf(std::size_t input) const override;
    std::string UnitOf(std::size_t input) const override {
        return VelPython::UnitOf(*schema->children[children.at(input)]);
    }
    const std::vector<Kept>& KeptColumns() const override { return kept; }
    const ArrowSchema& SchemaOf(std::size_t child) const override { return *schema->children[child]; }
    std::shared_ptr<const OwnedArray> Batch() const override { return batch; }
    bool IsLive() const override { return true; }
    std::optional<double> Share() const override { return std::nullopt; }
    std::vector<Vel::Engine::Warning> Warnings() const override;

private:
    std::size_t Find(const std::string& name, const std::string& place) const;
    std::string ColumnName(std::size_t child) const;
    OwnedArray ReadNext();
    void Take(std::vector<ArrowReader>& into, const ArrowArray& table, std::uint64_t before) const;

    OwnedStream stream;
    OwnedSchema schema;
    std::vector<Vel::ChannelType> channels;
    std::vector<WantedSamples> wanted;
    std::vector<ArrowReader> readers;
    std::vector<std::size_t> children;
    std::vector<std::string> timeFormats;
    std::vector<Kept> kept;
    std::vector<OwnedArray> waiting; ///< tables from ReadAll in reverse order
    bool hasAll = false;
    std::shared_ptr<const OwnedArray> batch;
    std::size_t rows = 0;
    std::uint64_t rowsBefore;
};

class CsvRecording final : public Recording {
public:
    /// Throws Vel::Error if a file cannot be read or a column of the plan is missing.
    CsvRecording(std::vector<std::string> files, const Vel::Recordings::FormatOptions& options,
                 const Vel::Engine::Plan& plan, std::function<bool()> isInterrupted);

    bool Next() override;
    std::size_t Rows() const override { return rows; }
    ArrowReader::Block Read(std::size_t input, std::size_t begin, std::size_t count) override;
    std::optional<Vel::Error> FaultOf(std::size_t /*input*/) const override { return std::nullopt; }
    std::optional<std::size_t> ChildOf(std::size_t /*input*/) const override { return std::nullopt; }
    std::string TimeFormatOf(std::size_t input) const override { return timeFormats.at(input); }
    bool Rounds(std::size_t /*input*/) const override { return false; }
    std::optional<Vel::Recordings::TimeStyle> TimeStyleOf(std::size_t input) const override {
        return reader.TimeStyleOf(input);
    }
    std::string UnitOf(std::size_t input) const override { return reader.UnitOf(input); }
    const std::vector<Kept>& KeptColumns() const override { return kept; }
    const ArrowSchema& SchemaOf(std::size_t child) const override { return *keptSchemas.at(child); }
    std::shared_ptr<const OwnedArray> Batch() const override { return batch; }
    bool IsLive() const override { return reader.IsLive(); }
    std::optional<double> Share() const override;
    std::vector<Vel::Engine::Warning> Warnings() const override;

private:
    std::vector<Vel::ChannelType> channels;
    std::vector<std::string> timeFormats;
    Vel::Recordings::CsvReader reader;
    std::vector<Kept> kept;
    std::vector<OwnedSchema> keptSchemas;
    std::shared_ptr<const OwnedArray> batch;
    std::size_t rows = 0;
};

} // namespace VelPython
