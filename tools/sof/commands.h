#pragma once

#include <CLI/App.hpp>

/** Each function adds a group of related commands. */
void add_container_commands(CLI::App& program);
void add_certificate_commands(CLI::App& program);
void add_sign_commands(CLI::App& program);
void add_verify_commands(CLI::App& program);
void add_encryption_commands(CLI::App& program);
void add_data_commands(CLI::App& program);
void add_stamp_commands(CLI::App& program);
void add_storage_commands(CLI::App& program);
void add_seal_commands(CLI::App& program);
void add_service_commands(CLI::App& program);
void add_doctor_command(CLI::App& program);
void add_log_command(CLI::App& program);
