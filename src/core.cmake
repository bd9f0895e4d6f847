zephran_light_debug_info(hawkbit_agent_fsm.cpp hawkbit_deployer_fsm.cpp hawkbit_installer_fsm.cpp)

zephran_add_library(zephran_core
    INCLUDE_ROOT ${CMAKE_CURRENT_SOURCE_DIR}
    SOURCES
        action_message.cpp
        agent_manager.cpp
        artifact_files.cpp
        backoff_timer.cpp
        command_line_options.cpp
        deployment_history.cpp
        deployment_report.cpp
        error_details.cpp
        error_record.cpp
        exit_handler.cpp
        gateway_properties.cpp
        hawkbit_agent.cpp
        hawkbit_agent_actions.cpp
        hawkbit_agent_fsm.cpp
        hawkbit_agent_guards.cpp
        hawkbit_deployer.cpp
        hawkbit_deployer_fsm.cpp
        hawkbit_installer.cpp
        hawkbit_installer_fsm.cpp
        installer_factory.cpp
        running_deployment.cpp
        update_schedule.cpp
        update_schedule_reader.cpp
    DEPENDS
        zephran_common zephran_http zephran_hawkbit zephran_platform_api
        Boost::program_options
    PRIVATE_DEPENDS
        zephran_crypto zephran_ghn)

add_subdirectory(installer)
add_subdirectory(discovery)

add_executable(zephran main.cpp)
# The installers are linked as objects: nothing refers to them, each registers itself.
target_link_libraries(zephran PRIVATE
    zephran_core zephran_discovery zephran_installers zephran_platform_openwrt zephran_options)
install(TARGETS zephran RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
