#pragma once

#include <cstdio>

#include "check/TextWriter.h"

namespace cli
{

/// Text on its way to a stream. What cannot be written shows as an error of the stream.
class Output : public check::TextWriter
{
public:
    /// `stream` must outlive it.
    explicit Output(std::FILE *stream)
        : TextWriter([stream](std::string_view piece)
                     { std::fwrite(piece.data(), 1, piece.size(), stream); }),
          m_stream(stream)
    {
    }

    /// Gives all to the system.
    void Flush()
    {
        TextWriter::Flush();
        std::fflush(m_stream);
    }

private:
    std::FILE *m_stream;
};

} // namespace cli
