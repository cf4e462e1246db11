// The catalogue of the library's own texts. Spelling and blanks, the doubled and trailing ones too, are what
// applications match on: they never change.
#pragma once

namespace tarn::message {

// Error texts kept on a handle.
inline constexpr char connect_failed[] = "[EC011]Error in build-connect Sock Failure";
inline constexpr char login_failed[] = "[EC012]Error in build-database-connect LOGIN database Failure";
inline constexpr char login_unanswered[] = "[EC0195]Error when RECIEVING ,Net Recieve Error";
inline constexpr char login_refused[] = "[EC0196]Error Can't finish build connect ,Receives K failed";
inline constexpr char insert_unread[] = "[EC004]Insert Prop NetError";
inline constexpr char count_unread[] = "[EC004]Update Prop NetError";
inline constexpr char outputs_unbound[] =
    "[EC0056]when execute sql with output params or return value need bind_params";
inline constexpr char result_too_large[] =
    "[EC080]select result-set is too large please connect to db-server";

// Lines for the standard output, with the text or step that they are about.
inline constexpr char print_server_error[] = "Server Error %s \n";
inline constexpr char print_server_warning[] = "Server Warning %s \n";
inline constexpr char print_server_message[] = "Server Message %s \n";
inline constexpr char print_network_error[] = "Net Error %s \n";
inline constexpr char print_count_unread[] = "Update Prop NetError  \n";
inline constexpr char print_insert_unread[] = "Insert Prop NetError  \n";
inline constexpr char print_error_in_result[] = "[EC031]Error in recv result :%s \n";
inline constexpr char print_warning_in_result[] = "[EC032]Server Warning in recv result :%s \n";
inline constexpr char print_address_list_too_long[] = "set ips error \n";

} // namespace tarn::message
