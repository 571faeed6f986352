// Any byte string given to the sentence parser yields one of its three result
// codes and a record that is either decoded or still cleared.
#include "IO/NmeaParser.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    using namespace Core::Nmea;
    std::string sentence(reinterpret_cast<const char*>(bytes), size);
    NmeaSentenceTypes type = NMEA_UNSUPPORTED;
    UNmeaData data;
    int result = CNmeaParser::ParseNmeaData(type, sentence, data);
    if (result < -1 || result > 1 || CNmeaParser::IdentifyNmeaSentence(sentence) > NMEA_UNSUPPORTED)
        std::abort();
    UNmeaData cleared;
    std::memset(&cleared, 0, sizeof(cleared));
    if (result == 1 && std::memcmp(&data, &cleared, sizeof(data)) != 0)
        std::abort();
    return 0;
}
