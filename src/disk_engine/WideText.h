#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orv {

// The operations on wide strings that the engine's rules are written in. Positions count from 0; a position
// that names nothing is -1. Matches are case-sensitive.

/// Index of the first occurrence, -1 when absent.
int Find(std::wstring_view text, std::wstring_view part);
bool Begins(std::wstring_view text, std::wstring_view head);
bool Contains(std::wstring_view text, std::wstring_view part);
/// The text stands in it, but not at its beginning.
bool ContainsAfterStart(std::wstring_view text, std::wstring_view part);

/// Replaces all occurrences and gives their number.
int Replace(std::wstring& text, std::wstring_view old, std::wstring_view fresh);

/// Substrings; whatever lies outside the text is left out.
std::wstring Left(std::wstring_view text, std::size_t count);
std::wstring Right(std::wstring_view text, std::size_t count);

void MakeUpper(std::wstring& text);
void MakeLower(std::wstring& text);
std::wstring Upper(std::wstring text);

void TrimLeft(std::wstring& text);
void TrimRight(std::wstring& text);

/// The next token at or after `position`, which it advances; empty, and `position` -1, when none is left.
std::wstring Tokenize(std::wstring_view text, std::wstring_view delimiters, int& position);

/// Field 0 is what stands before the first separator, field n what stands between separators n and n + 1. A
/// field with no separator behind it is not one: false, and `out` stays as it was.
bool ExtractField(std::wstring& out, std::wstring_view text, int index, wchar_t separator);

/// A text's number as the C library's wide conversions read it: leading blanks, a sign, digits up to the
/// first other character; 0 when there is none. Saturates at the ends of the type.
int ToInteger(const std::wstring& text);
double ToDecimal(const std::wstring& text);

} // namespace orv
