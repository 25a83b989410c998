#include "cli/farm_engines.h"

#include "cli/child_process.h"
#include "cli/errors.h"

namespace veltrane::cli {

namespace {

/// A name of small letters, digits and hyphens, as Kubernetes wants it.
std::string LabelOf(const std::string& text) {
    std::string label;
    for (const char c : text) {
        const bool capital = c >= 'A' && c <= 'Z';
        const bool plain = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        label += capital ? static_cast<char>(c - 'A' + 'a') : plain ? c : '-';
    }
    return label.substr(0, 40);
}

Json Container(const FarmJob& job, std::size_t shot, const ContainerOptions& options,
               const std::string& task) {
    const std::string line = "exec " + Quoted(job.Script(shot)) + ' ' + task;
    Json container{
        {"name", "veltrane"}, {"image", options.image}, {"command", {"/bin/sh", "-c", line}}};
    for (std::size_t i = 0; i < options.volumes.size(); ++i) {
        const std::string path = options.volumes[i].substr(options.volumes[i].find(':') + 1);
        container["volumeMounts"].push_back(
            {{"name", "storage-" + std::to_string(i)}, {"mountPath", path}});
    }
    return container;
}

Json PodOf(const Json& container, const ContainerOptions& options) {
    Json pod{{"restartPolicy", "Never"}, {"containers", Json::array({container})}};
    for (std::size_t i = 0; i < options.volumes.size(); ++i) {
        const std::string claim = options.volumes[i].substr(0, options.volumes[i].find(':'));
        pod["volumes"].push_back({{"name", "storage-" + std::to_string(i)},
                                  {"persistentVolumeClaim", {{"claimName", claim}}}});
    }
    return pod;
}

/// 1 and 2 are for good, and 75 is worth another try.
Json FailurePolicy() {
    const Json codes{{"operator", "In"}, {"values", {kFailed, kWrongUsage}}};
    const Json rule{{"action", "FailIndex"}, {"onExitCodes", codes}};
    return {{"rules", Json::array({rule})}};
}

Json KubernetesJob(const std::string& name, Json spec) {
    return {{"apiVersion", "batch/v1"},
            {"kind", "Job"},
            {"metadata", {{"name", name}}},
            {"spec", std::move(spec)}};
}

Json KeyJob(const FarmJob& job, std::size_t shot, const ContainerOptions& options) {
    const int chunks = job.shots[shot].chunks;
    const Json container = Container(job, shot, options, "$((JOB_COMPLETION_INDEX + 1))");
    return KubernetesJob("veltrane-" + LabelOf(job.shots[shot].shot.name) + '-' + ShotNumber(shot),
                         {{"completions", chunks},
                          {"parallelism", chunks},
                          {"completionMode", "Indexed"},
                          {"backoffLimitPerIndex", 3},
                          {"maxFailedIndexes", chunks},
                          {"podFailurePolicy", FailurePolicy()},
                          {"template", {{"spec", PodOf(container, options)}}}});
}

Json MergeJob(const FarmJob& job, std::size_t shot, const ContainerOptions& options) {
    return KubernetesJob(
        "veltrane-merge-" + ShotNumber(shot),
        {{"backoffLimit", 3},
         {"template", {{"spec", PodOf(Container(job, shot, options, "merge"), options)}}}});
}

std::string ForXml(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else
            escaped += c;
    }
    return escaped;
}

std::string Layer(const std::string& name, const std::string& command, const std::string& range) {
    return "      <layer name=\"" + name + "\" type=\"Render\">\n        <cmd>" + ForXml(command) +
           "</cmd>\n        <range>" + range +
           "</range>\n        <chunk>1</chunk>\n        <services>\n          "
           "<service>shell</service>\n        </services>\n      </layer>\n";
}

std::string Depend(const std::string& job, const std::string& number) {
    return "    <depend type=\"LAYER_ON_LAYER\" anyframe=\"False\">\n      <depjob>" + job +
           "</depjob>\n      <deplayer>merge_" + number + "</deplayer>\n      <onjob>" + job +
           "</onjob>\n      <onlayer>key_" + number + "</onlayer>\n    </depend>\n";
}

/// A line of shell that merges a shot unless it is merged.
std::string MergeLine(const std::string& number, const std::string& script) {
    const std::string merged = "logs/" + number + ".merged";
    return "[ -e " + merged + " ] || { " + script + " merge >>logs/" + number +
           ".merge.log 2>&1 && : >" + merged + "; } || status=$?\n";
}

}  // namespace

std::string WriteParallel(const FarmJob& job) {
    std::string tasks, merges;
    for (std::size_t i = 0; i < job.shots.size(); ++i) {
        const std::string number = ShotNumber(i), script = Quoted(job.Script(i));
        for (int chunk = 1; chunk <= job.shots[i].chunks; ++chunk)
            tasks += number + ' ' + std::to_string(chunk) + '\n';
        merges += MergeLine(number, script);
    }
    WriteText(job.folder() / "tasks", tasks, false);
    WriteText(job.folder() / "run.sh",
              "#!/bin/sh\n"
              "# All that is not done yet, by GNU parallel, with its options: run.sh --jobs 4 "
              "--sshlogin a,b\n"
              "cd " +
                  Quoted(job.folder()) +
                  " || exit 75\n"
                  "status=0\n"
                  "while read -r shot chunk; do\n"
                  "    [ -e \"logs/$shot.merged\" ] || echo \"$shot $chunk\"\n"
                  "done <tasks | parallel --will-cite --colsep ' ' \"$@\" " +
                  Quoted("exec " + Quoted(job.folder()) + "/{1}.sh {2} >>" + Quoted(job.folder()) +
                         "/logs/{1}.0_{2}.log 2>&1") +
                  " || status=$?\n" + merges + "exit $status\n",
              true);
    return "sh " + Quoted(job.folder() / "run.sh");
}

std::string WriteKubernetes(const FarmJob& job, const ContainerOptions& options) {
    Json keys{{"apiVersion", "v1"}, {"kind", "List"}, {"items", Json::array()}}, merges = keys;
    for (std::size_t i = 0; i < job.shots.size(); ++i) {
        keys["items"].push_back(KeyJob(job, i, options));
        merges["items"].push_back(MergeJob(job, i, options));
    }
    const auto key = job.folder() / "kubernetes.json", merge = job.folder() / "merge.json";
    WriteJson(key, keys);
    WriteJson(merge, merges);
    return "kubectl apply -f " + Quoted(key) + " && kubectl wait --for=condition=complete " +
           "--timeout=-1s -f " + Quoted(key) + " && kubectl apply -f " + Quoted(merge);
}

std::string WriteOpenCue(const FarmJob& job) {
    const std::string name = LabelOf(job.folder().filename());
    std::string layers, depends;
    for (std::size_t i = 0; i < job.shots.size(); ++i) {
        const std::string number = ShotNumber(i), script = Quoted(job.Script(i));
        layers += Layer("key_" + number, script + " #IFRAME#",
                        "1-" + std::to_string(job.shots[i].chunks));
        layers += Layer("merge_" + number, script + " merge", "1");
        depends += Depend(name, number);
    }
    const auto file = job.folder() / "opencue.xml";
    WriteText(
        file,
        "<?xml version=\"1.0\"?>\n"
        "<!DOCTYPE spec SYSTEM \"http://localhost:8080/spcue/dtd/cjsl-1.11.dtd\">\n"
        "<spec>\n  <facility>local</facility>\n  <show>testing</show>\n"
        "  <shot>veltrane</shot>\n  <user>veltrane</user>\n  <job name=\"" +
            name +
            "\">\n    <paused>False</paused>\n    <maxretries>3</maxretries>\n    <layers>\n" +
            layers + "    </layers>\n  </job>\n  <depends>\n" + depends + "  </depends>\n</spec>\n",
        false);
    return "cueadmin or pycue's launchSpecAndWait with " + Quoted(file);
}

}  // namespace veltrane::cli
