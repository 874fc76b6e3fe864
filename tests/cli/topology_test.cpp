// zelt-camera topology
#include "tool_fixture.h"

namespace zelt_cli_test {
namespace {

using TopologyTest = ToolTest;

TEST_F(TopologyTest, PrintsTheDocumentAsTheHostReceivesIt) {
    const RunResult result = run({"topology", virtualCameras(twoCameras())});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out,
              "<?xml version=\"1.0\"?>\n"
              "<MeasurementTree>\n"
              "\t<MeasurementNode Name=\"LocalNode\" Id=\"0\" IsLocalNode=\"true\">\n"
              "\t\t<Enclosure PluginId=\"e55f6703-e783-4504-a46b-35ac2e8239eb\" "
              "Name=\"USB-Cameras\" Id=\"3390163473\">\n"
              "\t\t\t<Slot Id=\"0\">\n"
              "\t\t\t\t<Channel ChannelID=\"0x0000000000000000\" Name=\"Cam A\">\n"
              "\t\t\t\t\t<Channel ChannelID=\"0x0000000000010000\" Name=\"Cam A RcvdCNT\" />\n"
              "\t\t\t\t</Channel>\n"
              "\t\t\t\t<Channel ChannelID=\"0x0000000000000001\" Name=\"Cam B\">\n"
              "\t\t\t\t\t<Channel ChannelID=\"0x0000000000010001\" Name=\"Cam B RcvdCNT\" />\n"
              "\t\t\t\t</Channel>\n"
              "\t\t\t</Slot>\n"
              "\t\t</Enclosure>\n"
              "\t</MeasurementNode>\n"
              "</MeasurementTree>\n");
}

TEST_F(TopologyTest, NoCameraGivesTheDeclarationAndAnEmptyTree) {
    const RunResult result = run({"topology", "--virtual=0"});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, "<?xml version=\"1.0\"?>\n<MeasurementTree />\n");
}

}  // namespace
}  // namespace zelt_cli_test
