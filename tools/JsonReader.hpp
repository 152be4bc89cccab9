// Reading JSON: what stands in a text, token by token, each with its place.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace ksexpr {

/// The bytes that must be allocated behind a text for it to be read where it lies.
inline constexpr std::size_t jsonPadding = 64;

/// Is told the tokens of a text in their order, and the offsets at which they begin. Returns
/// whether it wants to be told more.
class JsonHandler {
 public:
  virtual ~JsonHandler();
  virtual bool null(std::size_t aOffset) = 0;
  virtual bool boolean(std::size_t aOffset, bool aValue) = 0;
  virtual bool number(std::size_t aOffset, double aValue) = 0;
  /// Strings and keys are parts of the text unless they are spelled with escapes; those last as
  /// long as the call.
  virtual bool string(std::size_t aOffset, std::string_view aValue) = 0;
  virtual bool key(std::size_t aOffset, std::string_view aName) = 0;
  virtual bool startObject(std::size_t aOffset) = 0;
  virtual bool endObject() = 0;
  virtual bool startArray(std::size_t aOffset) = 0;
  virtual bool endArray() = 0;
  /// Ends the reading: the text is no JSON, for a reason that a person understands.
  virtual void syntaxError(std::size_t aOffset, const std::string& aMessage) = 0;
};

/// Tells what stands in a text that is an object, at the speed of simdjson. Returns whether it is
/// one and well-formed. Otherwise the handler was told a part of it, but not what is wrong. May say
/// so of a sound text, too, where that is nested deeply or has numbers beyond 64 bits.
bool readSoundJson(std::string& aText, JsonHandler& aHandler);

/// The same by two threads, for an object that ends with a long array of objects: the first handler
/// is told everything up to some object in the middle of the text, the second one an array of those
/// behind, both at the same time. It is for the first one to know that these are in the array that
/// it takes them for.
bool readSoundHalves(std::string& aText, JsonHandler& aFirst, JsonHandler& aSecond);

/// Reads many sound texts: keeps what memory that takes.
class SoundJsonReader {
 public:
  SoundJsonReader();
  SoundJsonReader(const SoundJsonReader&) = delete;
  SoundJsonReader& operator=(const SoundJsonReader&) = delete;
  ~SoundJsonReader();
  bool read(std::string& aText, JsonHandler& aHandler);

 private:
  struct Parser;
  const std::unique_ptr<Parser> parser;
};

/// Tells what stands in any text, and where and why it is no JSON. Takes many times as long.
void readJson(std::string_view aText, JsonHandler& aHandler);

}  // namespace ksexpr
