// Watches a run's input for signs that it cannot give useful guidance, and
// says why: no input at all, no sentences (binary data, blank lines), sentences
// without a position fix (counted per sentence type), a track kilometres away
// from the field, and time that runs backwards or jumps.
// Not thread-safe: belongs to the thread that replays.
#ifndef GUIDANCE_GUIDANCE_INPUTCHECK_H
#define GUIDANCE_GUIDANCE_INPUTCHECK_H

#include "Field.h"
#include "LocalPlane.h"
#include "FixRecord.h"

#include <map>
#include <string>
#include <vector>

namespace GuidanceTool
{

class InputCheck
{
public:
    // A track whose every fix is farther than this from the field's line is
    // somewhere else: guidance figures against the line would mean nothing.
    static constexpr double kFarFromField = 5000; // metres
    // A gap between fixes longer than this is reported as a jump.
    static constexpr double kLongestGap = 60; // seconds

    explicit InputCheck(const Field& field) : m_field(field) {}

    // Bytes of input as they arrive.
    void Bytes(std::size_t count) { m_bytes += count; }
    // A line that starts like a sentence, by its type ("GGA"), whether it was used or not.
    void Sentence(const std::string& type) { ++m_types[type]; }
    // A sentence that said the receiver had no position: "GGA with quality 0", "RMC void".
    void NoPosition(const std::string& what) { ++m_noPosition[what]; }
    // A fix that guidance recorded; plane is the run's plane.
    void Fix(const FixRecord& point, const LocalPlane& plane);

    // True when at least one fix was recorded near enough to the field.
    bool Usable() const;
    // One line each, without the program's prefix.
    std::vector<std::string> Warnings() const;

private:
    // Metres from a plane point to the nearest point of the field's line.
    double DistanceToField(double x, double y, const LocalPlane& plane);

    Field m_field;
    std::vector<double> m_fieldX; // the line's points in the run's plane, made at the first fix
    std::vector<double> m_fieldY;
    std::size_t m_bytes = 0;
    std::map<std::string, long> m_types;
    std::map<std::string, long> m_noPosition;
    long m_fixes = 0;
    double m_firstDistance = 0;
    double m_nearest = 0;
    double m_lastTime = 0;
    long m_backwards = 0;
    long m_jumps = 0;
    std::string m_firstBackwards;
    std::string m_firstJump;
};

} // namespace GuidanceTool

#endif
