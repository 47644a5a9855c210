/* What the stand-in for NVIDIA's management library answers; a test finds it by the name "standinNvml". */
#ifndef STANDIN_NVML_H
#define STANDIN_NVML_H

struct StandinNvml {
    int initStatus;            /* 9, "Driver Not Loaded", until a test says otherwise */
    int temperatureStatus;     /* status of nvmlDeviceGetTemperature */
    int utilizationStatus;     /* and of nvmlDeviceGetUtilizationRates */
    unsigned long long memory; /* bytes */
    unsigned readings;         /* calls that a sleeping card would wake up for */
};

#endif
