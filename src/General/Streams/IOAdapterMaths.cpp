// TIOAdapter's members for the maths value types. Each value is a fixed run of StreamFloat or
// StreamInt calls, so it takes whatever form the adapter has; only the element names are
// made here. Binary form passes no name at all, which keeps the bytes free of any name cost
// and puts the tracked bytes of every maths value under one empty-named entry.
#include "General/Streams/IOAdapter.h"

#include <cstdio>
#include <initializer_list>

#include "General/Maths/Colour.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Quaternion.h"
#include "General/Maths/Rectangle.h"
#include "General/Maths/Vector.h"

namespace {

/// Element names are cut at this length, well inside a text line.
constexpr int kNameSize = 256;

/// Builds the text name of one element; gives null in binary form, where names are dropped.
class TElementName {
public:
    TElementName(const TIOAdapter &io, const char *name)
        : m_Binary(io.GetBinaryFile() != nullptr), m_Name(name != nullptr ? name : "") {}

    /// "name[suffix]".
    const char *operator()(const char *suffix) {
        if (m_Binary)
            return nullptr;
        std::snprintf(m_Text, sizeof m_Text, "%s[%s]", m_Name, suffix);
        return m_Text;
    }
    /// "name[index]".
    const char *operator()(int index) {
        if (m_Binary)
            return nullptr;
        std::snprintf(m_Text, sizeof m_Text, "%s[%d]", m_Name, index);
        return m_Text;
    }
    /// "name[row][column]".
    const char *operator()(int row, int column) {
        if (m_Binary)
            return nullptr;
        std::snprintf(m_Text, sizeof m_Text, "%s[%d][%d]", m_Name, row, column);
        return m_Text;
    }

private:
    bool m_Binary;
    const char *m_Name; // not owned
    char m_Text[kNameSize];
};

/// Streams `Rows` rows of `Columns` floats, row after row.
template <int Rows, int Columns>
void StreamRows(TIOAdapter &io, float (&values)[Rows][Columns], const char *name) {
    TElementName element(io, name);
    for (int row = 0; row < Rows; ++row)
        for (int column = 0; column < Columns; ++column)
            io.StreamFloat(values[row][column], element(row, column));
}

/// One float of a value and the suffix of its text name.
struct TNamedFloat {
    float *value; // not owned
    const char *suffix;
};

/// Streams `fields` in order, named "name[suffix]" in text.
void StreamFields(TIOAdapter &io, const char *name, std::initializer_list<TNamedFloat> fields) {
    TElementName element(io, name);
    for (const TNamedFloat &field : fields)
        io.StreamFloat(*field.value, element(field.suffix));
}

} // namespace

void TIOAdapter::StreamVector2(TVector2 &value, const char *name) {
    TElementName element(*this, name);
    StreamFloat(value.x, element(0));
    StreamFloat(value.y, element(1));
}

void TIOAdapter::StreamVector3(TVector3 &value, const char *name) {
    TElementName element(*this, name);
    StreamFloat(value.x, element(0));
    StreamFloat(value.y, element(1));
    StreamFloat(value.z, element(2));
}

void TIOAdapter::StreamQuaternion(TQuaternion &value, const char *name) {
    StreamFields(*this, name, {{&value.x, "x"}, {&value.y, "y"}, {&value.z, "z"}, {&value.w, "w"}});
}

void TIOAdapter::StreamRect(TRectangle &value, const char *name) {
    StreamFields(
        *this, name,
        {{&value.x0, "XMin"}, {&value.y0, "YMin"}, {&value.x1, "XMax"}, {&value.y1, "YMax"}});
}

void TIOAdapter::StreamColour(TColour &value, const char *name) {
    StreamFields(*this, name, {{&value.r, "R"}, {&value.g, "G"}, {&value.b, "B"}});
}

void TIOAdapter::StreamPackColour(TPackColour &value, const char *name) {
    TElementName element(*this, name);
    int red = value.GetRed();
    int green = value.GetGreen();
    int blue = value.GetBlue();
    int alpha = value.GetAlpha();
    StreamInt(red, element("R"));
    StreamInt(green, element("G"));
    StreamInt(blue, element("B"));
    StreamInt(alpha, element("A"));
    // A channel read out of range is cut to its byte rather than spilling into its neighbour.
    value.SetPack(red & 255, green & 255, blue & 255, alpha & 255);
}

void TIOAdapter::StreamMatrix3(TMatrix3 &value, const char *name) {
    StreamRows(*this, value.m, name);
}

void TIOAdapter::StreamMatrix4(TMatrix4 &value, const char *name) {
    StreamRows(*this, value.m, name);
}

void TIOAdapter::StreamTransform(TMatrix43 &value, const char *name) {
    StreamRows(*this, value.m, name);
}
