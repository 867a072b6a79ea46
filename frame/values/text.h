// Texts: UTF-8 inside the program and the database, windows-1252 on the wire.
#pragma once

#include <string>
#include <string_view>

namespace surva {

// Identifiers, parameter and header names: ASCII letters without regard to case.
bool EqualNames(std::string_view a, std::string_view b);
std::string LowerName(std::string_view name);

// Compares texts by the code points of their small letters, as both engines sort and group: negative, 0, positive.
int CompareTexts(std::string_view a, std::string_view b);
// `like` without regard to case: % stands for any characters, _ for one; there is no escape character.
bool Like(std::string_view text, std::string_view pattern);

std::size_t CharacterCount(std::string_view text);
// The first or last characters of a text, all of it if it has no more.
std::string_view FirstCharacters(std::string_view text, std::size_t count);
std::string_view LastCharacters(std::string_view text, std::size_t count);
// Letter for letter; a letter without a capital of its own stays as it is.
std::string CapitalLetters(std::string_view text);

// windows-1252 as the WHATWG Encoding Standard has it: the five unused bytes are the C1 controls of the same number.
std::string FromWindows1252(std::string_view bytes);
// What windows-1252 lacks becomes a decimal character reference.
std::string ToWindows1252(std::string_view text);
bool IsAscii(std::string_view text);
bool IsUtf8(std::string_view text);

// Letters that windows-1252 lacks come from browsers, and stand in the database, as decimal character references
// ("&#322;"). WithReferences makes of any text what a browser would have posted; WithLetters gives the letters back.
std::string WithReferences(std::string_view text);
std::string WithLetters(std::string_view text);

// A text as a part of an address's path or query: all but letters, digits, "-", ".", "_" and "~" as %XX.
std::string PercentEncoded(std::string_view text);

}  // namespace surva
