/* The first host: z = x / y, sample by sample. */
#include <VelOperation.h>

#include <math.h>
#include <stdio.h>

static void Complain(int level, const char* text) { fprintf(stderr, "level %d: %s\n", level, text); }

int main(void) {
    /* Three channels: a sample, and a pointer to it. A NaN stands in them at Create, so a NaN is their NoValue. */
    double x = NAN, y = NAN, z = NAN;
    double *xNow = &x, *yNow = &y, *zNow = &z;

    SetMessageCallback(Complain);
    VelHandle divide = Create(true, "Divide", "DDD", &zNow, &xNow, &yNow);
    if (divide == NULL)
        return 1;

    const double rows[4][2] = {{6, 3}, {1, 0}, {NAN, 2}, {9, 2}};
    for (int row = 0; row < 4; ++row) {
        x = rows[row][0];
        y = rows[row][1];
        const bool isNew = Execute(divide);
        printf("%g / %g: %s, z is %g\n", x, y, isNew ? "new value" : "no new value", z);
    }

    Terminate(divide);
    Dispose(divide);
    return 0;
}
