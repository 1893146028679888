#pragma once

namespace melta {

class LineReader;
class Property;

// Takes the settings of the model from the head of a network file, of today or of older systems, up to and
// including the shapes of the networks; the next line of the reader is then the number of elements. False
// when the file is not open or a line is missing or unreadable: what the lines before have said is kept.
bool readHeadSettings(LineReader& reader, Property& property);

} // namespace melta
