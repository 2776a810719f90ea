/// Texts of one column, row by row.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Vel::Recordings {

class TextColumn {
public:
    std::size_t Rows() const { return ends.size(); }
    /// Stays until a text is appended or all are removed.
    std::string_view At(std::size_t row) const {
        const std::size_t begin = row == 0 ? 0 : ends[row - 1];
        return std::string_view(texts).substr(begin, ends[row] - begin);
    }
    void Append(std::string_view text) {
        texts += text;
        ends.push_back(texts.size());
    }
    void Clear() {
        texts.clear();
        ends.clear();
    }

private:
    std::string texts;
    std::vector<std::size_t> ends; ///< of the texts
};

} // namespace Vel::Recordings
