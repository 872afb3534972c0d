// SPDX-License-Identifier: Apache-2.0

// Every directive of the table, but for those that the installed nginx does not know, twice in a
// block where it may stand.
#pragma once

// `names` are apart by a blank. In the block that `context` names, each stands first with the
// arguments `first`, then with `second`.
struct Repeated {
  const char* context;
  const char* first;
  const char* second;
  const char* names;
};

// The second one is refused as a duplicate.
inline const Repeated kRefused[] = {
    {"main", "on", "off", "daemon master_process pcre_jit"},
    {"main", "10s", "20s", "timer_resolution worker_shutdown_timeout"},
    {"main", "a.pid", "b.pid", "pid"},
    {"main", "a", "b", "lock_file working_directory"},
    {"main", "1", "2", "worker_priority worker_processes worker_rlimit_nofile"},
    {"main", "stop", "abort", "debug_points"},
    {"main", "www-data", "root", "user"},
    {"main", "01", "10", "worker_cpu_affinity"},
    {"main", "10k", "20k", "worker_rlimit_core"},
    {"main", "{ }", "{ }", "events http mail stream"},
    {"main", "dynamic", "rdrand", "ssl_engine"},
    {"events", "1", "2", "epoll_events worker_aio_requests worker_connections"},
    {"events", "epoll", "select", "use"},
    {"events", "on", "off", "accept_mutex multi_accept"},
    {"events", "10s", "20s", "accept_mutex_delay"},
    {"http", "1", "2",
     "lua_max_pending_timers lua_max_running_timers lua_regex_cache_max_entries "
     "lua_regex_match_limit lua_thread_cache_max_entries lua_worker_thread_vm_pool_size "
     "map_hash_bucket_size map_hash_max_size server_names_hash_bucket_size "
     "server_names_hash_max_size variables_hash_bucket_size variables_hash_max_size"},
    {"http", "8k", "16k",
     "connection_pool_size fastcgi_buffer_size http2_recv_buffer_size proxy_buffer_size "
     "scgi_buffer_size uwsgi_buffer_size"},
    {"http", "on", "off",
     "access_by_lua_no_postpone lua_sa_restart rewrite_by_lua_no_postpone ssl"},
    {"http", "a", "b",
     "exit_worker_by_lua_file init_by_lua init_by_lua_file init_worker_by_lua "
     "init_worker_by_lua_file lua_package_cpath lua_package_path "
     "ssl_certificate_by_lua_file ssl_client_hello_by_lua_file "
     "ssl_session_fetch_by_lua_file ssl_session_store_by_lua_file"},
    {"http", "{ }", "{ }",
     "exit_worker_by_lua_block init_by_lua_block init_worker_by_lua_block "
     "ssl_certificate_by_lua_block ssl_client_hello_by_lua_block "
     "ssl_session_fetch_by_lua_block ssl_session_store_by_lua_block"},
    {"server", "1", "2",
     "http2_max_concurrent_pushes http2_max_concurrent_streams http2_streams_index_size "
     "max_headers ssl_verify_depth"},
    {"server", "8k", "16k",
     "client_header_buffer_size http2_body_preread_size http2_pool_size request_pool_size "
     "ssl_buffer_size"},
    {"server", "10s", "20s", "client_header_timeout ssl_session_timeout"},
    {"server", "8 8k", "16 8k", "large_client_header_buffers"},
    {"server", "on", "off",
     "ignore_invalid_headers merge_slashes ssl_early_data ssl_ocsp "
     "ssl_prefer_server_ciphers ssl_reject_handshake ssl_session_tickets ssl_stapling "
     "ssl_stapling_verify ssl_verify_client underscores_in_headers"},
    {"server", "a.pass", "b.pass", "ssl_password_file"},
    {"server", "certs/site.pem", "certs/renewed.pem",
     "ssl_client_certificate ssl_crl ssl_dhparam ssl_trusted_certificate"},
    {"server", "a", "b",
     "server_rewrite_by_lua_file ssl_ecdh_curve ssl_ocsp_responder ssl_stapling_file "
     "ssl_stapling_responder"},
    {"server", "HIGH", "DEFAULT", "ssl_ciphers"},
    {"server", "off", "shared:a:1m", "ssl_ocsp_cache"},
    {"server", "{ }", "{ }", "server_rewrite_by_lua_block"},
    {"location", "1", "2",
     "brotli_comp_level directio expires fastcgi_cache_min_uses "
     "fastcgi_next_upstream_tries grpc_next_upstream_tries grpc_ssl_verify_depth "
     "gzip_comp_level keepalive_requests keepalive_timeout lua_socket_pool_size "
     "lua_ssl_verify_depth max_ranges memcached_gzip_flag memcached_next_upstream_tries "
     "min_delete_depth open_file_cache_min_uses proxy_cache_min_uses "
     "proxy_headers_hash_bucket_size proxy_headers_hash_max_size proxy_next_upstream_tries "
     "proxy_ssl_verify_depth referer_hash_bucket_size referer_hash_max_size resolver "
     "scgi_cache_min_uses scgi_next_upstream_tries types_hash_bucket_size "
     "types_hash_max_size userid_expires userid_service uwsgi_cache_min_uses "
     "uwsgi_modifier1 uwsgi_modifier2 uwsgi_next_upstream_tries uwsgi_ssl_verify_depth"},
    {"location", "text/a", "text/b", "default_type"},
    {"location", "/a", "/b", "root"},
    {"location", "/a/", "/b/", "alias"},
    {"location", "GET { }", "POST { }", "limit_except"},
    {"location", "10k", "20k",
     "client_max_body_size directio_alignment fastcgi_cache_max_range_offset "
     "proxy_cache_max_range_offset scgi_cache_max_range_offset "
     "uwsgi_cache_max_range_offset"},
    {"location", "8k", "16k",
     "brotli_min_length brotli_window client_body_buffer_size fastcgi_busy_buffers_size "
     "fastcgi_limit_rate fastcgi_max_temp_file_size fastcgi_send_lowat "
     "fastcgi_temp_file_write_size grpc_buffer_size gzip_hash gzip_min_length gzip_window "
     "http2_chunk_size limit_rate limit_rate_after lua_socket_buffer_size "
     "lua_socket_send_lowat memcached_buffer_size mp4_buffer_size mp4_max_buffer_size "
     "postpone_gzipping postpone_output proxy_busy_buffers_size proxy_limit_rate "
     "proxy_max_temp_file_size proxy_send_lowat proxy_temp_file_write_size read_ahead "
     "scgi_busy_buffers_size scgi_limit_rate scgi_max_temp_file_size "
     "scgi_temp_file_write_size send_lowat sendfile_max_chunk slice ssi_min_file_chunk "
     "ssi_value_length subrequest_output_buffer_size uwsgi_busy_buffers_size "
     "uwsgi_limit_rate uwsgi_max_temp_file_size uwsgi_temp_file_write_size"},
    {"location", "10s", "20s",
     "auth_delay client_body_timeout fastcgi_cache_lock_age fastcgi_cache_lock_timeout "
     "fastcgi_connect_timeout fastcgi_next_upstream_timeout fastcgi_read_timeout "
     "fastcgi_send_timeout grpc_connect_timeout grpc_next_upstream_timeout "
     "grpc_read_timeout grpc_send_timeout keepalive_time lingering_time lingering_timeout "
     "lua_socket_connect_timeout lua_socket_keepalive_timeout lua_socket_read_timeout "
     "lua_socket_send_timeout memcached_connect_timeout memcached_next_upstream_timeout "
     "memcached_read_timeout memcached_send_timeout proxy_cache_lock_age "
     "proxy_cache_lock_timeout proxy_connect_timeout proxy_next_upstream_timeout "
     "proxy_read_timeout proxy_send_timeout resolver_timeout scgi_cache_lock_age "
     "scgi_cache_lock_timeout scgi_connect_timeout scgi_next_upstream_timeout "
     "scgi_read_timeout scgi_send_timeout send_timeout uwsgi_cache_lock_age "
     "uwsgi_cache_lock_timeout uwsgi_connect_timeout uwsgi_next_upstream_timeout "
     "uwsgi_read_timeout uwsgi_send_timeout"},
    {"location", "p1", "p2",
     "client_body_temp_path fastcgi_temp_path proxy_temp_path scgi_temp_path "
     "uwsgi_temp_path"},
    {"location", "on", "off",
     "absolute_redirect aio_write autoindex autoindex_exact_size autoindex_localtime "
     "brotli brotli_static chunked_transfer_encoding client_body_in_file_only "
     "client_body_in_single_buffer create_full_put_path disable_symlinks etag "
     "fastcgi_buffering fastcgi_cache_background_update fastcgi_cache_lock "
     "fastcgi_cache_revalidate fastcgi_force_ranges fastcgi_ignore_client_abort "
     "fastcgi_intercept_errors fastcgi_keep_conn fastcgi_pass_request_body "
     "fastcgi_pass_request_headers fastcgi_request_buffering fastcgi_socket_keepalive "
     "grpc_intercept_errors grpc_socket_keepalive grpc_ssl_server_name "
     "grpc_ssl_session_reuse grpc_ssl_verify gunzip gzip gzip_no_buffer gzip_static "
     "gzip_vary http2_push_preload limit_conn_dry_run limit_req_dry_run lingering_close "
     "log_not_found log_subrequest lua_check_client_abort lua_code_cache "
     "lua_http10_buffering lua_need_request_body lua_socket_log_errors "
     "lua_transform_underscores_in_response_headers lua_use_default_type "
     "memcached_socket_keepalive mirror_request_body mp4_start_key_frame msie_padding "
     "msie_refresh open_file_cache_errors open_file_cache_events override_charset "
     "port_in_redirect proxy_buffering proxy_cache_background_update "
     "proxy_cache_convert_head proxy_cache_lock proxy_cache_revalidate proxy_force_ranges "
     "proxy_ignore_client_abort proxy_intercept_errors proxy_pass_request_body "
     "proxy_pass_request_headers proxy_request_buffering proxy_socket_keepalive "
     "proxy_ssl_server_name proxy_ssl_session_reuse proxy_ssl_verify random_index "
     "real_ip_recursive recursive_error_pages reset_timedout_connection rewrite_log "
     "scgi_buffering scgi_cache_background_update scgi_cache_lock scgi_cache_revalidate "
     "scgi_force_ranges scgi_ignore_client_abort scgi_intercept_errors "
     "scgi_pass_request_body scgi_pass_request_headers scgi_request_buffering "
     "scgi_socket_keepalive sendfile server_name_in_redirect server_tokens ssi "
     "ssi_ignore_recycled_buffers ssi_last_modified ssi_silent_errors "
     "sub_filter_last_modified sub_filter_once tcp_nodelay tcp_nopush "
     "uninitialized_variable_warn userid uwsgi_buffering uwsgi_cache_background_update "
     "uwsgi_cache_lock uwsgi_cache_revalidate uwsgi_force_ranges uwsgi_ignore_client_abort "
     "uwsgi_intercept_errors uwsgi_pass_request_body uwsgi_pass_request_headers "
     "uwsgi_request_buffering uwsgi_socket_keepalive uwsgi_ssl_server_name "
     "uwsgi_ssl_session_reuse uwsgi_ssl_verify"},
    {"location", "threads", "off", "aio"},
    {"location", "all", "any", "satisfy"},
    {"location", "", "", "internal"},
    {"location", "exact", "before", "if_modified_since"},
    {"location", "a", "b",
     "access_by_lua access_by_lua_file add_after_body add_before_body auth_basic "
     "auth_basic_user_file auth_request body_filter_by_lua body_filter_by_lua_file "
     "content_by_lua content_by_lua_file fastcgi_index grpc_ssl_name header_filter_by_lua "
     "header_filter_by_lua_file log_by_lua log_by_lua_file post_action proxy_method "
     "proxy_set_body proxy_ssl_name real_ip_header rewrite_by_lua rewrite_by_lua_file "
     "secure_link secure_link_md5 secure_link_secret source_charset userid_domain "
     "userid_mark userid_name userid_p3p userid_path uwsgi_ssl_name uwsgi_string"},
    {"location", "max=1", "off", "open_file_cache open_log_file_cache"},
    {"location", "1m", "2m", "open_file_cache_valid"},
    {"location", "1.0", "1.1", "gzip_http_version proxy_http_version"},
    {"location", "8 8k", "16 8k",
     "brotli_buffers fastcgi_buffers gunzip_buffers gzip_buffers output_buffers "
     "proxy_buffers scgi_buffers uwsgi_buffers"},
    {"location", "utf-8", "koi8-r", "charset"},
    {"location", "user:rw", "user:r",
     "dav_access fastcgi_store_access proxy_store_access scgi_store_access "
     "uwsgi_store_access"},
    {"location", "html", "json", "autoindex_format"},
    {"location", "$uri =404", "$uri =403", "try_files"},
    {"location", "info", "warn", "limit_conn_log_level limit_req_log_level"},
    {"location", "429", "503", "limit_conn_status limit_req_status"},
    {"location", "http://127.0.0.1:1", "http://127.0.0.1:2", "proxy_pass"},
    {"location", "on", "/a", "fastcgi_store proxy_store scgi_store uwsgi_store"},
    {"location", "127.0.0.1", "127.0.0.2",
     "fastcgi_bind grpc_bind memcached_bind proxy_bind scgi_bind uwsgi_bind"},
    {"location", "off", "off", "fastcgi_cache proxy_cache scgi_cache uwsgi_cache"},
    {"location", "$uri", "$args",
     "fastcgi_cache_key proxy_cache_key scgi_cache_key uwsgi_cache_key"},
    {"location", "HIGH", "DEFAULT",
     "grpc_ssl_ciphers lua_ssl_ciphers proxy_ssl_ciphers uwsgi_ssl_ciphers"},
    {"location", "certs/site.pem", "certs/renewed.pem",
     "grpc_ssl_certificate grpc_ssl_crl grpc_ssl_trusted_certificate lua_ssl_crl "
     "lua_ssl_trusted_certificate proxy_ssl_certificate proxy_ssl_crl "
     "proxy_ssl_trusted_certificate uwsgi_ssl_certificate uwsgi_ssl_crl "
     "uwsgi_ssl_trusted_certificate"},
    {"location", "certs/site.key", "certs/renewed.key",
     "grpc_ssl_certificate_key proxy_ssl_certificate_key uwsgi_ssl_certificate_key"},
    {"location", "a.pass", "b.pass",
     "grpc_ssl_password_file proxy_ssl_password_file uwsgi_ssl_password_file"},
    {"location", "127.0.0.1:9001", "127.0.0.1:9002", "fastcgi_pass grpc_pass scgi_pass uwsgi_pass"},
    {"location", "127.0.0.1:9", "127.0.0.1:9", "memcached_pass"},
    {"location", "{ }", "{ }",
     "access_by_lua_block body_filter_by_lua_block content_by_lua_block "
     "header_filter_by_lua_block log_by_lua_block rewrite_by_lua_block"},
    {"upstream", "1", "2", "keepalive"},
    {"upstream", "{ }", "{ }", "balancer_by_lua_block"},
    {"upstream", "a", "b", "balancer_by_lua_file"},
    {"mail", "10s", "20s", "auth_http_timeout proxy_timeout smtp_greeting_delay timeout"},
    {"mail", "1", "2", "max_errors"},
    {"mail", "on", "off",
     "auth_http_pass_client_cert proxy proxy_pass_error_message proxy_protocol "
     "proxy_smtp_auth starttls xclient"},
    {"mail", "8k", "16k", "imap_client_buffer proxy_buffer smtp_client_buffer"},
    {"stream", "10s", "20s", "preread_timeout proxy_protocol_timeout ssl_handshake_timeout"},
    {"stream", "8k", "16k",
     "preread_buffer_size proxy_download_rate proxy_downstream_buffer proxy_upload_rate "
     "proxy_upstream_buffer"},
    {"stream", "1", "2", "proxy_requests proxy_responses"},
    {"stream", "on", "off", "proxy_half_close proxy_ssl ssl_preread"},
    {"stream", "a", "b", "ssl_alpn"},
};

// The second one is taken. One of the two does nothing, or both say the same.
inline const Repeated kOverruled[] = {
    {"http", "a", "b", "lua_load_resty_core"},
    {"http", "1", "2", "lua_malloc_trim"},
    {"server", "1", "2", "http2_max_requests"},
    {"server", "1k", "2k", "http2_max_field_size http2_max_header_size"},
    {"server", "1s", "2s", "http2_idle_timeout http2_recv_timeout"},
    {"server", "none", "off", "ssl_session_cache"},
    {"location", "404", "403", "return"},
    {"location", "", "", "break empty_gif flv mp4 stub_status"},
    {"location", "^(a)(b)$", "^(c)(d)$", "fastcgi_split_path_info"},
    {"location", "a", "b", "ancient_browser_value modern_browser_value"},
    {"upstream", "$uri", "$args", "hash"},
    {"upstream", "", "", "ip_hash least_conn"},
    {"upstream", "two", "two least_conn", "random"},
    {"upstream", "a 1m", "b 1m", "zone"},
    {"mail", "127.0.0.1:1", "127.0.0.1:2", "auth_http"},
    {"mail server", "smtp", "imap", "protocol"},
};

// The second one is taken, and both count.
inline const Repeated kTogether[] = {
    {"main", "A", "B", "env"},
    {"main", "a.log", "b.log", "error_log"},
    {"main", "a threads=1", "b threads=2", "thread_pool"},
    {"events", "127.0.0.1", "127.0.0.2", "debug_connection"},
    {"http", "{ server_name a; }", "{ server_name b; }", "server"},
    {"http", "a '$uri'", "b '$uri'", "log_format"},
    {"http", "a { server 127.0.0.1:1; }", "b { server 127.0.0.1:1; }", "upstream"},
    {"http", "a b { }", "c d { }", "charset_map"},
    {"http", "$remote_addr zone=a:1m", "$remote_addr zone=b:1m", "limit_conn_zone"},
    {"http", "$uri zone=a:1m rate=1r/s", "$uri zone=b:1m rate=1r/s", "limit_req_zone"},
    {"http", "$x { }", "$y { }", "geo"},
    {"http", "$uri $x { }", "$uri $y { }", "map"},
    {"http", "$remote_addr $x { * a; }", "$remote_addr $y { * a; }", "split_clients"},
    {"http", "certs/site.pem", "certs/renewed.pem", "ssl_certificate"},
    {"http", "c1 keys_zone=a:1m", "c2 keys_zone=b:1m",
     "fastcgi_cache_path proxy_cache_path scgi_cache_path uwsgi_cache_path"},
    {"http", "a 1m", "b 1m", "lua_shared_dict"},
    {"server", "127.0.0.1:8181", "127.0.0.1:8182", "listen"},
    {"server", "a.example", "b.example", "server_name"},
    {"server", "certs/site.key", "certs/renewed.key", "ssl_certificate_key"},
    {"server", "TLSv1.2", "TLSv1.3", "ssl_protocols"},
    {"server", "a.ticket", "b.ticket", "ssl_session_ticket_key"},
    {"server", "Options PrioritizeChaCha", "Options ServerPreference", "ssl_conf_command"},
    {"server", "a b c", "d e f", "upstream_list"},
    {"location", "empty.conf", "empty.con*", "include"},
    {"location", "/a { }", "/b { }", "location"},
    {"location", "{ text/a a; }", "{ text/b b; }", "types"},
    {"location", "msie6", "safari", "keepalive_disable"},
    {"location", "404 /404.html", "500 /500.html", "error_page"},
    {"location", "expired", "private", "gzip_proxied"},
    {"location", "msie6", "a", "gzip_disable"},
    {"location", "a.log", "b.log", "access_log"},
    {"location", "text/a", "text/b",
     "addition_types brotli_types charset_types gzip_types ssi_types sub_filter_types"},
    {"location", "a b", "c d", "proxy_cookie_domain sub_filter"},
    {"location", "secure", "httponly", "userid_flags"},
    {"location", "A a", "B b",
     "add_header add_trailer fastcgi_param grpc_set_header proxy_set_header scgi_param "
     "uwsgi_param"},
    {"location", "/a", "/b", "http2_push mirror"},
    {"location", "PUT", "DELETE", "dav_methods"},
    {"location", "a.html", "b.html", "index"},
    {"location", "$x a", "$y b", "auth_request_set set"},
    {"location", "127.0.0.1", "127.0.0.2", "allow deny set_real_ip_from"},
    {"location", "connections 1", "others 1", "limit_conn"},
    {"location", "zone=requests", "zone=more", "limit_req"},
    {"location", "none a.example", "blocked b.example", "valid_referers"},
    {"location", "^/a /b", "^/c /d", "rewrite"},
    {"location", "($uri) { }", "($args) { }", "if"},
    {"location", "/a /b", "/c /d", "proxy_cookie_path proxy_redirect"},
    {"location", "a secure", "b secure", "proxy_cookie_flags"},
    {"location", "$uri", "$args",
     "fastcgi_cache_bypass fastcgi_no_cache proxy_cache_bypass proxy_no_cache "
     "scgi_cache_bypass scgi_no_cache uwsgi_cache_bypass uwsgi_no_cache"},
    {"location", "200 1m", "404 2m",
     "fastcgi_cache_valid proxy_cache_valid scgi_cache_valid uwsgi_cache_valid"},
    {"location", "error", "timeout",
     "fastcgi_cache_use_stale fastcgi_next_upstream grpc_next_upstream "
     "memcached_next_upstream proxy_cache_use_stale proxy_next_upstream "
     "scgi_cache_use_stale scgi_next_upstream uwsgi_cache_use_stale uwsgi_next_upstream"},
    {"location", "GET", "POST",
     "fastcgi_cache_methods proxy_cache_methods scgi_cache_methods uwsgi_cache_methods"},
    {"location", "A", "B",
     "fastcgi_catch_stderr fastcgi_hide_header fastcgi_pass_header grpc_hide_header "
     "grpc_pass_header more_clear_headers more_clear_input_headers proxy_hide_header "
     "proxy_pass_header scgi_hide_header scgi_pass_header uwsgi_hide_header "
     "uwsgi_pass_header"},
    {"location", "Expires", "Vary",
     "fastcgi_ignore_headers grpc_ignore_headers proxy_ignore_headers scgi_ignore_headers "
     "uwsgi_ignore_headers"},
    {"location", "TLSv1.2", "TLSv1.3",
     "grpc_ssl_protocols lua_ssl_protocols proxy_ssl_protocols uwsgi_ssl_protocols"},
    {"location", "Options PrioritizeChaCha", "Options ServerPreference",
     "grpc_ssl_conf_command lua_ssl_conf_command proxy_ssl_conf_command "
     "uwsgi_ssl_conf_command"},
    {"location", "msie 5", "opera 6", "modern_browser"},
    {"location", "a", "b", "ancient_browser"},
    {"location", "'A: a'", "'B: b'", "more_set_headers more_set_input_headers"},
    {"location", "$x { return 1 }", "$y { return 1 }", "set_by_lua_block"},
    {"location", "$x \"return 1\"", "$y \"return 1\"", "set_by_lua"},
    {"location", "$x /a.lua", "$y /b.lua", "set_by_lua_file"},
    {"mail", "a", "b", "imap_capabilities pop3_capabilities smtp_capabilities"},
    {"mail", "plain", "apop", "pop3_auth"},
    {"mail", "plain", "login", "imap_auth smtp_auth"},
    {"mail", "A a", "B b", "auth_http_header"},
};

// What the installed nginx is too old for. A second one is refused as a duplicate.
inline const char* const kYetToCome[] = {"grpc_ssl_certificate_cache",
                                         "grpc_ssl_key_log",
                                         "http2",
                                         "http3",
                                         "http3_hq",
                                         "http3_max_concurrent_streams",
                                         "http3_stream_buffer_size",
                                         "keepalive_min_timeout",
                                         "proxy_pass_trailers",
                                         "proxy_ssl_certificate_cache",
                                         "proxy_ssl_key_log",
                                         "quic_active_connection_id_limit",
                                         "quic_bpf",
                                         "quic_gso",
                                         "quic_host_key",
                                         "quic_retry",
                                         "ssl_certificate_cache",
                                         "uwsgi_ssl_certificate_cache",
                                         "uwsgi_ssl_key_log"};
