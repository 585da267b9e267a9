#ifndef QUVEN_OUTPUT_H
#define QUVEN_OUTPUT_H

#include <initializer_list>
#include <span>
#include <string_view>

/// Writes pieces to standard output as one text, after what the stream stdout still holds.
///
/// The text is one write of the system, at once: the launcher of several ranks forwards each write as it comes, and a
/// text in two writes may get a text of another rank between them. Up to 64 pieces are one write. A pipe may still take
/// a text above 4096 bytes in parts. Nothing is allocated; write errors are ignored.
void quvenWriteOutput(std::span<const std::string_view> pieces);
void quvenWriteOutput(std::initializer_list<std::string_view> pieces);

#endif  // QUVEN_OUTPUT_H
