// SPDX-License-Identifier: Apache-2.0
#include "support/scripted_installer.h"

#include <memory>

#include "common/exception.h"
#include "installer/hawkbit_installer.h"
#include "installer/installer_factory.h"

namespace zephran::test {

namespace {

class ScriptedInstaller : public HawkbitInstaller {
public:
    explicit ScriptedInstaller(InstallerScript& installer_script) : script{installer_script} {}

    [[nodiscard]] bool will_reboot() const override { return script.will_reboot; }
    [[nodiscard]] bool can_resume() const override { return script.can_resume; }

protected:
    void check_artifact_count() override {}

    void start_installation() override {
        script.started.push_back(chunk().name() + ":" + chunk().version());
        fail_if(script.fails_to_start);
        about_to_overwrite();
        about_to_begin();
        report() << script.report;
    }

    [[nodiscard]] bool installation_has_finished() override {
        if (is_resumed() && !is_known_as_taken_up) {
            is_known_as_taken_up = true;
            script.taken_up.push_back(chunk().name() + ":" + chunk().version());
        }
        fail_if(script.fails_while_installing);
        return steps_installed++ >= script.steps_to_install;
    }

    void cancel_installation() override {
        ++script.cancellations;
        if (!script.is_cancellable) {
            ZEPHRAN_THROW(CannotBeCancelledException{});
        }
    }

    [[nodiscard]] bool cancellation_has_finished() override {
        return steps_cancelled++ >= script.steps_to_cancel;
    }

private:
    static void fail_if(bool is_told_to) {
        if (is_told_to) {
            ZEPHRAN_THROW(ScriptedFailure{} << common::program_output_tag{"as told"});
        }
    }

    InstallerScript& script;
    unsigned steps_installed = 0;
    unsigned steps_cancelled = 0;
    bool is_known_as_taken_up = false;
};

}  // namespace

ScriptedPart::ScriptedPart(const std::string& part_type, unsigned priority) : part{part_type} {
    InstallerFactory::register_installer(part, priority, [this](const InstallerContext& context) {
        if (script.fails_to_be_made) {
            ZEPHRAN_THROW(ScriptedFailure{});
        }
        script.context = context;
        return std::make_unique<ScriptedInstaller>(script);
    });
}

ScriptedPart::~ScriptedPart() {
    InstallerFactory::disable_installer(part);
}

}  // namespace zephran::test
