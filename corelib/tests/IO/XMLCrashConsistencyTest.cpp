// Writing a document under SIGKILL: a child writes version after version of a
// document to one file and reports each WriteXML that returned true; it is
// killed at random moments. The file must always hold one whole document,
// the last acknowledged or the one being written, with at most one temporary
// file beside it.
#include "XMLTestNames.h"

#include "Support/CrashConsistency.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace
{

// A document whose text carries the numbered contents, so that the check
// can tell which version a file holds.
std::unique_ptr<XMLDocument> Document(unsigned int version)
{
    std::unique_ptr<XMLDocument> document(new XMLDocument);
    *document << XMLStartNode("state") << XMLAttribute("kind", "settings")
              << XMLData(CoreTest::VersionContents(version)) << XMLEndNode();
    return document;
}

TEST(XMLCrashConsistencyTest, WrittenFileIsAlwaysOneWholeDocument)
{
    CoreTest::TempDir dir;
    const std::string path = dir.File("state.xml");
    ASSERT_TRUE(Document(0)->WriteXML(path));
    CoreTest::KillVersionWriterRounds(
        dir, "state.xml", [&](unsigned int version) { return Document(version)->WriteXML(path); }, 312026,
        [](unsigned int version) { return Document(version)->GetXML(); });
}

} // namespace
