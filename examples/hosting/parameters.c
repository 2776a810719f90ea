/* Each way in which parameters travel. */
#include <VelOperation.h>

#include <math.h>

int main(void) {
    double signal = NAN, filtered = NAN, level = NAN;
    uint16_t word = 0xFFFF, pulse = 0xFFFF;
    uint8_t field = 0xFF;
    double *signalNow = &signal, *filteredNow = &filtered, *levelNow = &level;
    uint16_t *wordNow = &word, *pulseNow = &pulse;
    uint8_t* fieldNow = &field;

    VelHandle filter = Create(true, "FilterButterworthLowPass", "DD", &filteredNow, &signalNow);
    VelHandle masking = Create(true, "MaskAndShift", "BW", &fieldNow, &wordNow);
    VelHandle curve = Create(true, "Linea", "DD", &levelNow, &signalNow);
    VelHandle monoFlop = Create(true, "MonoFlop", "WW", &pulseNow, &wordNow);

    bool isReady = Initialize(filter, "LDD", 4u, 1000.0, 50.0);               /* 1000.0, never 1000 */
    isReady = Initialize(masking, "Q", 0x0FF0ull) && isReady;                 /* 64 bits: ull */
    isReady = Initialize(curve, "DDDD", 0.0, 4.0, 10.0, 20.0) && isReady;     /* x, y, x, y */
    isReady = Initialize(monoFlop, "FW", VelPackFloat32(0.5f), 1) && isReady; /* the one true Float32 */

    signal = 5;
    word = 0x1234;
    const bool hasRun = Execute(filter) && Execute(masking) && Execute(curve) && Execute(monoFlop);
    const bool isRight = level == 12 && field == 0x23 && pulse == 1;

    Dispose(filter);
    Dispose(masking);
    Dispose(curve);
    Dispose(monoFlop);
    return isReady && hasRun && isRight ? 0 : 1;
}
