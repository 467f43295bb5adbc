/* SPDX-License-Identifier: Apache-2.0 */
/* Makes pictures of a camera's raw frames on several threads; what they count on the way feeds the luminance control.
 * The camera sends 12 bits in words. Usage: chain_threads DEVICE [FRAMES [THREADS]] */
#define _POSIX_C_SOURCE 200809L
#include <VekTrgChain.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

enum { kBandRows = 64, kMaxThreads = 64 };

/* What the threads share. Plan and frame are read alone; each thread takes the bands that are left. */
struct Job {
    VekChain_Plan plan;
    VekChainTraits traits;
    const void* frame;
    void* picture;
    pthread_mutex_t lock;
    uint32_t nextRow;
    int failed;
    VekChainStatistics statistics;
};

static int control(int device, unsigned id) {
    struct v4l2_control value = {id, 0};
    return ioctl(device, VIDIOC_G_CTRL, &value) == 0 ? value.value : 0;
}

static void* makeBands(void* argument) {
    struct Job* const job = argument;
    VekChain_Work work = NULL;
    int result = VekChain_CreateWork(job->plan, &work); /* a program that runs for long keeps its work areas */
    for (;;) {
        pthread_mutex_lock(&job->lock);
        const uint32_t first = job->nextRow;
        const uint32_t left = job->traits.height - first;
        const uint32_t rows = left < kBandRows ? left : kBandRows;
        job->nextRow += rows;
        job->failed |= result != VEK_OK;
        if (rows == 0 || result != VEK_OK) {
            VekChain_TakeStatistics(work, &job->statistics); /* those of all bands add up */
            pthread_mutex_unlock(&job->lock);
            VekChain_DestroyWork(work);
            return NULL;
        }
        pthread_mutex_unlock(&job->lock);
        result = VekChain_Run(job->plan, NULL, work, job->frame, job->picture, first, rows);
    }
}

/* One picture. 0 where a band was refused. */
static int makePicture(struct Job* job, int threads) {
    pthread_t others[kMaxThreads];
    int started = 0;
    job->nextRow = 0;
    job->statistics = (VekChainStatistics){.size = sizeof job->statistics};
    while (started < threads - 1 && pthread_create(&others[started], NULL, makeBands, job) == 0) {
        ++started;
    }
    makeBands(job);
    while (started > 0) {
        pthread_join(others[--started], NULL);
    }
    return !job->failed;
}

static VekChain_Plan makePlan(VekCam_Handle camera, int device) {
    const VekChainFrame frame = {.size = sizeof frame,
                                 .width = (uint32_t)control(device, VEK_CID_IMAGE_WIDTH),
                                 .height = (uint32_t)control(device, VEK_CID_IMAGE_HEIGHT),
                                 .format = VEK_TRANSFER_RAW12,
                                 .colorArray = (uint16_t)control(device, VEK_CID_COLOR_ARRAY)};
    const VekChainPicture picture = {.size = sizeof picture, .layout = VEK_CHAIN_BGR};
    const VekChainLevels levels = {
        .size = sizeof levels, .black = {168, 168, 168, 168}, .gain = {8192, 4096, 4096, 7000}, .pedestal = 32};
    const VekChainTone tone = {.size = sizeof tone, .curve = VEK_CHAIN_CURVE_SRGB};
    const VekChainDescription description = {.size = sizeof description,
                                             .frame = &frame,
                                             .picture = &picture,
                                             .levels = &levels,
                                             .demosaic = VEK_CHAIN_DEMOSAIC_EDGE,
                                             .tone = &tone,
                                             .statistics = 1};
    VekChain_Plan plan = NULL;
    char reason[200];
    if (VekChain_Create(camera, &description, &plan, reason, sizeof reason) != VEK_OK) {
        fprintf(stderr, "no plan: %s\n", reason);
    }
    return plan;
}

int main(int argc, char** argv) {
    const int device = open(argc > 1 ? argv[1] : "/dev/video0", O_RDWR);
    const int frames = argc > 2 ? atoi(argv[2]) : 1;
    const int threads = argc > 3 ? atoi(argv[3]) : 2;
    if (device < 0 || control(device, VEK_CID_TRANSFER_FORMAT) != VEK_TRANSFER_RAW12 || threads > kMaxThreads) {
        fprintf(stderr, "no camera that sends raw frames of 12 bits\n");
        return 1;
    }
    VekCam_Handle camera = VekCam_Open(device);
    struct Job job = {.plan = makePlan(camera, device), .traits = {.size = sizeof job.traits}};
    void* raw = NULL;
    int done = 0;
    if (VekChain_Traits(job.plan, &job.traits) == VEK_OK) {
        raw = malloc(job.traits.frameBytes);
        job.picture = malloc(job.traits.pictureBytes);
    }
    job.frame = raw;
    pthread_mutex_init(&job.lock, NULL);
    VekCam_SetALCMode(camera, VEK_ALC_EXPOSURE);
    VekCam_SetALCTargetLevel(camera, 1000); /* of 4095 */
    while (raw != NULL && job.picture != NULL && done < frames &&
           read(device, raw, job.traits.frameBytes) == (ssize_t)job.traits.frameBytes && makePicture(&job, threads)) {
        const VekChainCount* const green = &job.statistics.raw[1];
        const unsigned level = (unsigned)(green->sum / green->pixels);
        unsigned long changes = 0;
        VekCam_ALC(camera, (unsigned short)level, &changes); /* the next frame comes with it */
        printf("frame %d: green %u, %s\n", ++done, level, changes != 0 ? "exposure changed" : "at rest");
    }
    free(raw);
    free(job.picture);
    VekChain_Destroy(job.plan);
    VekCam_Close(camera);
    close(device);
    return done == frames ? 0 : 1;
}
