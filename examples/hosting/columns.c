/* A chain of operations over columns: the speed is smoothed, and watched for being above a limit. */
#include <VelOperation.h>

#include <math.h>
#include <stddef.h>
#include <stdio.h>

enum { rows = 6, noFlag = 0xFFFF };

int main(void) {
    /* Row 0 holds the NoValues; the samples begin at row 1. */
    double speed[rows + 1] = {NAN, 80, 110, NAN, 130, 90, 50};
    double smooth[rows + 1] = {NAN};
    uint16_t tooFast[rows + 1] = {noFlag};
    double limit = 100;
    double lowest = NAN, highest = NAN, mean = NAN;

    double *speedNow = speed, *smoothNow = smooth, *limitNow = NULL;
    uint16_t* tooFastNow = tooFast;
    double *lowestNow = &lowest, *highestNow = &highest, *meanNow = &mean;

    VelHandle smoothing = Create(true, "Average", "DD", &smoothNow, &speedNow);
    VelHandle watching = Create(true, "UpperLimit", "WDD", &tooFastNow, &smoothNow, &limitNow);
    VelHandle statistics = Create(true, "Statistics", "DDDD", &lowestNow, &highestNow, &meanNow, &speedNow);

    /* A window of 2 samples, and the bounds of what counts. */
    bool isReady = Initialize(smoothing, "LDD", 2u, 0.0, 300.0);
    /* The limit operations look at the letter: D on Float64. */
    isReady = Initialize(watching, "D", 20.0) && isReady;
    isReady = Initialize(statistics, "LDD", 0u, 0.0, 300.0) && isReady;
    if (!isReady) /* false for a null handle, too */
        return 1;

    limitNow = &limit; /* it was null at Create, so that the limit has no NoValue */

    for (size_t row = 1; row <= rows; ++row) {
        speedNow = &speed[row];
        smoothNow = &smooth[row];
        tooFastNow = &tooFast[row];
        smooth[row] = smooth[row - 1];
        tooFast[row] = tooFast[row - 1];
        Execute(smoothing);
        Execute(watching);
        Execute(statistics);
        printf("%5g %5g %5u\n", speed[row], smooth[row], tooFast[row]);
    }
    printf("lowest %g, highest %g, mean %g\n", lowest, highest, mean);

    Dispose(smoothing);
    Dispose(watching);
    Dispose(statistics);
    return 0;
}
