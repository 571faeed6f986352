// Writes a KML 2.2 document of styled placemarks (lines and polygons) into a
// file or into a string, strictly forward, with no tree in memory. Positions
// are geodetic (latitude, longitude[, altitude]) in radians and metres and are
// written in degrees with 24 decimals.
// Not thread-safe: one writer belongs to one thread at a time.
#ifndef CORELIB_FORMATS_KMLWRITER_H
#define CORELIB_FORMATS_KMLWRITER_H

#include "Maths/Vector.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Core
{

namespace Utilities
{
class FileReplacement;
}

class KMLWriter
{
public:
    // Closed: no file, nothing written.
    KMLWriter();
    // Close().
    ~KMLWriter();
    KMLWriter(const KMLWriter&) = delete;
    KMLWriter& operator=(const KMLWriter&) = delete;

    // Closes any previous document, then starts a new one in memory.
    void Open();
    // Closes any previous document, then starts a new one for the file at
    // path. The document goes to a temporary file beside it and replaces the
    // file at Close(), synced, so path holds the old file or the complete new
    // document (a device or FIFO is written in place; a link's target is
    // replaced). Returns false when the file cannot be created; the document
    // is then written into memory instead.
    bool Open(const std::string& path);
    // Writes the document's end and puts the file in place; after a failed
    // write the old file stays and the new document is dropped. An in-memory document
    // gets its end appended again at every Close() (the destructor's too);
    // read it with AsString() after the first.
    void Close();
    // The in-memory document.
    const std::string& AsString() const { return m_output; }

    // The style id that the following placemarks refer to; empty for none.
    void SetStyle(const std::string& id);
    // Starts a Style element with this id. The first style begun becomes the
    // placemarks' style unless SetStyle chose one.
    void BeginStyle(const std::string& id);
    // Ends the open Style element, if any.
    void EndStyle();
    // Adds a line style (width in pixels) or a polygon style to the style of
    // this id: consecutive calls with the same id share one Style element.
    // The colour is passed through as given (KML's aabbggrr hexadecimal).
    // The style stays open until EndStyle(), the next placemark or Close().
    void LineStyle(const std::string& id, const std::string& colour, int width);
    void PolyStyle(const std::string& id, const std::string& colour, bool fill, bool outline);

    // Starts a placemark with an optional name and the current style.
    void BeginPlacemark(const std::string& name);
    // A complete placemark holding a line through the points: with altitudes
    // (Vector3: latitude, longitude, altitude) or on the ground (Vector2).
    void LineStrip(const std::string& name, const std::vector<Maths::Vector3<double>>& points);
    void LineStrip(const std::string& name, const std::vector<Maths::Vector2<double>>& points);
    // A polygon outlining a strip whose even-indexed points run down one side
    // and odd-indexed points down the other: 0, 2, 4, ..., back from the last
    // index in steps of two down to 2, then 1 and 0. Requires: two points at
    // least (indices beyond the points are left out).
    void PolyStrip(const std::string& name, const std::vector<Maths::Vector3<double>>& points);
    void PolyStrip(const std::string& name, const std::vector<Maths::Vector2<double>>& points);
    // A polygon whose outer ring is the points in order; the ring is not
    // closed here: repeat the first point to close it.
    void PolyRing(const std::string& name, const std::vector<Maths::Vector3<double>>& points);
    void PolyRing(const std::string& name, const std::vector<Maths::Vector2<double>>& points);

    // Writes text to the file if one is open, else appends it to the string.
    // Write errors are ignored.
    void Output(const std::string& text);
    // Writes one coordinate line: longitude and latitude in degrees, then the
    // altitude for a Vector3, each separated by a comma, ending in a newline.
    void Output(const Maths::Vector3<double>& point);
    void Output(const Maths::Vector2<double>& point);

    // The document's opening: declaration, kml element, Document element.
    void WriteHeader();
    // The document's closing; nothing while no file is open and the string
    // is empty.
    void WriteFooter();

private:
    // The file being replaced; null when writing to memory.
    std::unique_ptr<Utilities::FileReplacement> m_file;
    // Bytes for the file not yet written to it: small pieces go out in large writes.
    std::string m_fileBuffer;
    std::string m_output;
    std::string m_style;
    std::string m_openStyle;

    // Writes length bytes at text.
    void Output(const char* text, std::size_t length);
    // Writes the buffered bytes to the file.
    void FlushFileBuffer();
    // Makes the Style element of this id the open one.
    void OpenStyle(const std::string& id);
    // A whole placemark: head, geometry start, coordinates in the order given
    // by indices (all points when null), geometry end.
    template <class Point>
    void Placemark(const std::string& name, const char* geometryStart, const std::vector<Point>& points,
                   const std::vector<std::size_t>* indices, const char* geometryEnd);
};

} // namespace Core

#endif
