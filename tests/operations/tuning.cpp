// Tuning: sintonizarCanalTerr, sintonizarCanalSat.
#include <climits>

#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Tuning, RemoteOperation, family("tuning"), ::testing::PrintToStringParamName());

class TunedChannel : public FamilyTest {
protected:
    void SetUp() override
    {
        FamilyTest::SetUp();
        slave.play({replyArray({xml::i4(0)})});
    }

    void tuneTerr(const nelka::tcanal& canal, int parametro = 0, bool indicador = false)
    {
        client.sintonizarCanalTerr(canal, parametro, status, indicador, ampleTimeout);
    }

    void tuneSat(const nelka::tcanal& canal, int parametro = 0, bool indicador = false, int extra = 0)
    {
        client.sintonizarCanalSat(canal, parametro, status, indicador, extra, ampleTimeout);
    }

    /// The parameters of the last call, as received.
    std::vector<std::string> arrived() const { return slave.calls().back().parameters; }

    int status = 99;
};

TEST_F(TunedChannel, LargeFrequencyIsSentAsItsBits)
{
    const std::vector<std::pair<std::uint32_t, std::string>> cases{
        {2'147'483'647, "i4 2147483647"}, {2'147'483'648, "i4 -2147483648"}, {4'294'967'295, "i4 -1"}};
    for (const auto& [frecuencia, integer] : cases) {
        nelka::tcanal canal;
        canal.frecuencia = canal.frecuenciaIntermedia = frecuencia;
        tuneTerr(canal);
        EXPECT_EQ(arrived()[0], integer);
        tuneSat(canal);
        EXPECT_EQ(arrived()[0], integer);
    }
}

TEST_F(TunedChannel, SatelliteLogsBothFrequenciesUnsigned)
{
    nelka::tcanal canal;
    canal.frecuencia = 4'294'967'295;
    canal.frecuenciaIntermedia = 4'294'967'294;
    tuneSat(canal);
    EXPECT_EQ(log.lines()[0], debug("sintonizarCanalSat : frecuencia: 4294967295 frecuencia intermedia: 4294967294\n"));
}

TEST_F(TunedChannel, SatelliteWithoutFrequencyLogs0)
{
    nelka::tcanal canal;
    canal.frecuenciaIntermedia = 1'500'000;
    tuneSat(canal);
    EXPECT_EQ(arrived()[0], "i4 1500000");
    EXPECT_EQ(log.lines()[0], debug("sintonizarCanalSat : frecuencia: 0 frecuencia intermedia: 1500000\n"));
}

TEST_F(TunedChannel, ShortMembersAreSentUnsigned)
{
    nelka::tcanal canal;
    canal.parametroTerr = canal.parametroComun = 65'535;
    canal.parametroSat2 = canal.parametroSat3 = canal.parametroSat4 = 65'535;
    const std::string wide = "i4 65535";
    tuneTerr(canal);
    EXPECT_EQ(arrived(), (std::vector<std::string>{"i4 0", wide, "i4 0", wide, "boolean 0"}));
    tuneSat(canal);
    EXPECT_EQ(arrived(),
              (std::vector<std::string>{"i4 0", "i4 0", "i4 0", wide, wide, wide, wide, "i4 0", "boolean 0"}));
}

TEST_F(TunedChannel, SendsExtremeIntegers)
{
    nelka::tcanal canal;
    canal.parametroSat = INT_MIN;
    tuneTerr(canal, INT_MIN);
    EXPECT_EQ(arrived()[2], "i4 -2147483648");
    tuneSat(canal, INT_MAX, false, INT_MIN);
    EXPECT_EQ(arrived()[1], "i4 -2147483648");
    EXPECT_EQ(arrived()[2], "i4 2147483647");
    EXPECT_EQ(arrived()[7], "i4 -2147483648");
}

TEST_F(TunedChannel, IndicatorIsSentLastAsBoolean)
{
    for (const bool indicador : {false, true}) {
        const std::string boolean = indicador ? "boolean 1" : "boolean 0";
        tuneTerr({}, 0, indicador);
        EXPECT_EQ(arrived().back(), boolean);
        tuneSat({}, 0, indicador);
        EXPECT_EQ(arrived().back(), boolean);
    }
}

TEST_F(TunedChannel, DefaultMembersAreSentAsZeros)
{
    const std::string zero = "i4 0";
    tuneTerr({});
    EXPECT_EQ(arrived(), (std::vector<std::string>{zero, zero, zero, zero, "boolean 0"}));
    tuneSat({});
    EXPECT_EQ(arrived(), (std::vector<std::string>{zero, zero, zero, zero, zero, zero, zero, zero, "boolean 0"}));
}

} // namespace
