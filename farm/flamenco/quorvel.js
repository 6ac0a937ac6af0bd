// SPDX-License-Identifier: MIT
// Flamenco job type: renders a numbered sequence through Quorvel, a chunk of frames for each task.
// Never run by Flamenco. It goes into the folder "scripts" beside the Flamenco Manager.

const JOB_TYPE = {
    label: "Quorvel",
    settings: [
        { key: "input", type: "string", required: true, description: "A sequence, such as /show/shot.####.exr" },
        { key: "output", type: "string", required: true, description: "A sequence, such as /show/mosaic.####.exr" },
        { key: "frames", type: "string", required: true, description: "Frames to render, such as 1-240" },
        { key: "chunk_size", type: "int32", default: 10, description: "Number of frames of a task" },
        { key: "options", type: "string", default: "--mosaic-intensity 0.5",
          description: "More options of quorvel render, with spaces between them" },
    ],
};

function compileJob(job) {
    const settings = job.settings;
    const options = (settings.options || "").split(" ").filter((option) => option.length > 0);
    for (const frames of frameChunker(settings.frames, settings.chunk_size)) {
        const task = author.Task(`quorvel-${frames}`, "misc");
        task.addCommand(author.Command("exec", {
            exe: "quorvel",
            args: ["render", settings.input, "--output", settings.output, `--frames=${frames}`, "--skip-existing",
                   "--progress", "none"].concat(options),
        }));
        job.addTask(task);
    }
}
